// Detection of station file formats from the first bytes, and what all series have in common.

#include "korla/korla_base.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <regex>
#include <stdexcept>
#include <string>

#include "korla/trace.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::open_series;
using namespace std::string_literals;

/// What detection says and does: its trace, if any, and the reader that it chooses.
const std::string untraced = "16-bit";
const std::string null = "null";
const std::string text = "Trying text !S512: 16-bit";
const std::string binary_512 = "Trying binary !S512: 16-bit";
const std::string binary_128 = "Trying binary !S128: 16-bit";
const std::string tm4 = "Trying text TM4: TM4";

class detection : public FreshState {
 protected:
  std::string detected(const std::string& bytes) {
    KorLa::debug = true;
    const std::string path = folder.write("series", bytes);
    support::CapturedStderr captured;
    const std::string reader = reader_of(path);
    const std::string said = captured.take();
    const std::regex line("Debug:../../../src/korla_base\\([0-9]+\\) (.*)\n");
    std::string traced;
    for (std::sregex_iterator match(said.begin(), said.end(), line), end; match != end; ++match) {
      traced += match->str(1) + ": ";
    }
    return traced + reader;
  }

  support::TemporaryFolder folder;

 private:
  /// Which reader takes a file, told by its series or by its way to fail; the message of any other
  /// failure.
  static std::string reader_of(const std::string& path) {
    try {
      const auto series = open_series(path, 0.0, false);
      constexpr std::array<const char*, 4> names = {"none", "ko24", "16-bit", "TM4"};
      return series ? names.at(static_cast<std::size_t>(series->format_id())) : "null";
    } catch (const ProcessEnded&) {
      return "16-bit";
    } catch (const std::runtime_error& error) {
      const std::string what = error.what();
      const bool short_head = what == "fread: EOF \n" || what.starts_with("Found no end of first");
      return short_head ? "16-bit" : what.starts_with(path + ": line ") ? "TM4" : what;
    }
  }
};

std::string repeated(const std::string& part, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += part;
  }
  return result;
}

/// `head`, and three blocks behind it that start with these words, each `distance` bytes long.
std::string blocks(const std::string& head, std::size_t distance, const std::string& first = "TIME",
                   const std::string& second = "TIME", const std::string& third = "TIME") {
  return head + first + std::string(distance - 4, 'a') + second + std::string(distance - 4, 'b') +
         third + std::string(distance - 4, 'c');
}

/// A comment line of so many bytes.
std::string line_of(std::size_t length) {
  return "!S512" + std::string(length - 5, 'x');
}

TEST_F(detection, goes_by_the_first_six_bytes) {
  EXPECT_EQ(detected(""), untraced);
  EXPECT_EQ(detected("!S512"), untraced);
  EXPECT_EQ(detected("ko24\1"), untraced);
  EXPECT_EQ(detected("ko24\0\0"s), "Trying ko24: Unknown magic chns\n");
  EXPECT_EQ(detected("KO24\1\1" + repeated(" ", 40)), untraced);
  EXPECT_EQ(detected("!S256\n1 2 3 4\n"), untraced);
  EXPECT_EQ(detected("!S51 2\n1 2 3 4\n"), untraced);
}

TEST_F(detection, looks_for_the_first_line_end_in_3071_bytes) {
  EXPECT_EQ(detected("!S512 x"), null);
  EXPECT_EQ(detected(line_of(3070) + "\n1 2 3 4\n"), text);
  EXPECT_EQ(detected(line_of(3070) + "\r\n1 2 3 4\n"), untraced);
  EXPECT_EQ(detected(line_of(3071) + "\n1 2 3 4\n"), null);
  EXPECT_EQ(detected("!S512 \0 x\n1 2 3 4\n"s), tm4);
}

TEST_F(detection, tells_binary_files_by_three_equal_block_starts) {
  EXPECT_EQ(detected(blocks("!S512 x\r", 1028)), binary_512);
  EXPECT_EQ(detected(blocks("!S128 x\r", 1028)), binary_512);
  EXPECT_EQ(detected(blocks("!S512 x\r", 260)), binary_128);
  EXPECT_EQ(detected(blocks("!S512 x\r", 1028).replace(268, 4, "TIME").replace(528, 4, "TIME")),
            binary_512);  // at both distances
  EXPECT_EQ(detected(blocks("!S512 x\r", 1028, "\n 1 ", "\n 1 ", "\n 1 ")), binary_512);
  EXPECT_EQ(detected(blocks("!S512 x\r", 1028, "TIME", "TIMe")), untraced);
  EXPECT_EQ(detected(blocks("!S128 x\r", 260, "TIME", "TIME", "tIME")), untraced);
  EXPECT_EQ(detected(blocks("!S512 x\n", 1028)), text);
  EXPECT_EQ(detected(blocks(line_of(1010) + "\r", 1028)), binary_512);  // in the first 3072 bytes
  EXPECT_EQ(detected(blocks(line_of(1011) + "\r", 1028)), untraced);
}

TEST_F(detection, tells_text_files_by_the_fields_of_their_second_line) {
  EXPECT_EQ(detected("!S512 x\n"), text);
  EXPECT_EQ(detected("!S512 x\n\n1 2 3 4\n"), text);
  EXPECT_EQ(detected("!S512 x\n1 2 3 \r\n1 2 3 4\n"), text);
  EXPECT_EQ(detected("!S512 x\n1 2 3 4\n1\n"), tm4);
  EXPECT_EQ(detected("!S512 x\na b c d"), tm4);
  EXPECT_EQ(detected("!S512 x\n \t1\t2 \v 3\f4 \r\n"), tm4);
  EXPECT_EQ(detected("!S512 x\n" + repeated("-1 ", 127) + "\n"), tm4);
  EXPECT_EQ(detected("!S512 x\n" + repeated("-1 ", 128) + "\n"), text);
  EXPECT_EQ(detected("!S512 x\n1 2 3\0 4 5\n"s), text);
  EXPECT_EQ(detected("!S128 x\r\n1 2 3 4\n"), tm4);
  EXPECT_EQ(detected("!S512 x\r1 2 3 4\n"), untraced);
  EXPECT_EQ(detected("!S512 x\r\r\n1 2 3 4\n"), untraced);
  EXPECT_EQ(detected(line_of(3063) + "\n1 2 3 4\n"), tm4);
  EXPECT_EQ(detected(line_of(3064) + "\n1 2 3 4\n"), text);
}

TEST(open_series, gives_null_for_what_can_not_be_opened) {
  const support::TemporaryFolder folder;
  const support::CapturedStderr captured;
  EXPECT_EQ(open_series(folder / "missing", 0, false), nullptr);
  EXPECT_EQ(open_series(folder.path().string(), 0, false), nullptr);
  EXPECT_EQ(open_series("/dev/null", 0, false), nullptr);
}

TEST(open_series, hands_the_name_time_to_the_readers_that_want_one) {
  const support::TemporaryFolder folder;
  const std::string head = support::comment_line('S', 128, 8) + "\n";
  for (const std::string& lines :
       {support::text_group("360 0", 0, 128), support::tm4_lines(0, 0, 99, 8)}) {
    const std::string path = folder.write("series", head + lines);
    EXPECT_EQ(open_series(path, 0, true)->times.at(0), 1456812000.0);
    const auto series = open_series(path, 1456812001.5, true);
    EXPECT_EQ(series->times.at(8), 1456812002.5);
    EXPECT_EQ(series->start_time(), 1456812001.5);
  }
}

TEST(scaled_value, is_the_raw_value_times_range_times_scale) {
  const KorLa::Korla_Base series;
  const auto scaled = [&](std::int32_t raw, double range_high, double scale) {
    return series.scaled_value(raw, {{}, 0, 0, 1e6, range_high, scale});
  };
  EXPECT_EQ(scaled(3, 10.0, 0.5), 15.0);
  EXPECT_EQ(scaled(-8388608, -10.0, 40.0), 3355443200.0);
  EXPECT_EQ(scaled(2, 1e308, 0.1), HUGE_VAL);  // the range comes first
}

}  // namespace
