// Detection of station file formats from the first bytes, and what all series have in common.

#include "korla/korla_base.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "korla/trace.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::open_series;
using testing::MatchesRegex;

const std::string read_as_16_bit = "16-bit";
const std::string read_as_tm4 = "TM4";
const std::string null_series = "null";
const std::string no_trace;

/// Trace lines are on, and the readers can't end the process, while one of these is alive.
struct TraceOn {
  TraceOn() {
    KorLa::debug = true;
    KorLa::end_process = [](int status) { throw ProcessEnded{status}; };
  }

  TraceOn(const TraceOn&) = delete;
  TraceOn& operator=(const TraceOn&) = delete;

  ~TraceOn() {
    KorLa::debug = false;
    KorLa::end_process = std::exit;
  }
};

/// Which reader took a file, told by its series or by its way to fail; "null" for none, and the
/// message of the ko24 reader's failures.
std::string outcome(const std::string& path) {
  try {
    const auto series = open_series(path, 0.0, false);
    const std::array<std::string, 4> names = {"none", "ko24", read_as_16_bit, read_as_tm4};
    return series ? names.at(static_cast<std::size_t>(series->format_id())) : null_series;
  } catch (const ProcessEnded&) {
    return read_as_16_bit;
  } catch (const std::runtime_error& error) {
    const std::string text = error.what();
    if (text == "fread: EOF \n" || text == "Found no end of first commentline\n") {
      return read_as_16_bit;
    }
    return text.starts_with(path + ": line ") ? read_as_tm4 : text;
  }
}

/// The lines of a text that begin as given.
std::string lines_with(const std::string& text, const std::string& beginning) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);) {
    result += line.starts_with(beginning) ? line + "\n" : "";
  }
  return result;
}

struct DetectionCase {
  std::string name;
  std::string bytes;
  std::string trace;  // the one line that detection writes, if any
  std::string outcome;
};

/// Opens each row's bytes as a file and looks at what detection said and did.
void expect_detection(const std::vector<DetectionCase>& table) {
  const support::TemporaryFolder folder;
  const TraceOn trace;
  for (const DetectionCase& row : table) {
    SCOPED_TRACE(row.name);
    const std::string path = folder.write("series", row.bytes);
    support::CapturedStderr captured;
    EXPECT_EQ(outcome(path), row.outcome);
    const std::string written = lines_with(captured.take(), "Debug:../../../src/korla_base(");
    if (row.trace.empty()) {
      EXPECT_EQ(written, "");
    } else {
      EXPECT_THAT(written,
                  MatchesRegex("Debug:../../../src/korla_base\\([0-9]+\\) " + row.trace + "\n"));
    }
  }
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) {
    result += text;
  }
  return result;
}

/// `head`, and three blocks behind it that start with `marks` in turn, each `distance` bytes long.
std::string blocks(const std::string& head, const std::vector<std::string>& marks,
                   std::size_t distance) {
  std::string result = head;
  char filler = 'a';
  for (const std::string& mark : marks) {
    result += mark + std::string(distance - mark.size(), filler++);
  }
  return result;
}

TEST(open_series, tells_files_by_their_first_six_bytes) {
  using namespace std::string_literals;
  expect_detection({
      {"an empty file", "", no_trace, read_as_16_bit},
      {"five bytes of a 16-bit file", "!S512", no_trace, read_as_16_bit},
      {"five bytes of a ko24 file", "ko24\1", no_trace, read_as_16_bit},
      {"six bytes of a ko24 file", "ko24\0\0"s, "Trying ko24", "Unknown magic chns\n"},
      {"ko24 and text", "ko24\n1 2 3 4 and more than a ko24 header of it\n", "Trying ko24",
       "Unknown version (10) of an ko24 file\n"},
      {"capital letters", "KO24\1\1" + repeated(" ", 40), no_trace, read_as_16_bit},
      {"!s512", "!s512\n1 2 3 4\n", no_trace, read_as_16_bit},
      {"!S256", "!S256\n1 2 3 4\n", no_trace, read_as_16_bit},
      {"!S51 and another", "!S51 2\n1 2 3 4\n", no_trace, read_as_16_bit},
      {"a blank in front", " !S512\n1 2 3 4\n", no_trace, read_as_16_bit},
      {"numbers alone", "1 2 3 4\n1 2 3 4\n", no_trace, read_as_16_bit},
  });
}

TEST(open_series, looks_for_the_first_line_end_in_3071_bytes) {
  using namespace std::string_literals;
  const auto line_of = [](std::size_t length) { return "!S512" + std::string(length - 5, 'x'); };
  expect_detection({
      {"a short line without end", "!S512 x", no_trace, null_series},
      {"a long line without end", line_of(5000), no_trace, null_series},
      {"!S128 without end", "!S128 " + line_of(5000), no_trace, null_series},
      {"LF as the last byte looked at", line_of(3070) + "\n1 2 3 4\n", "Trying text !S512",
       read_as_16_bit},
      {"CR as the last byte looked at", line_of(3070) + "\r\n1 2 3 4\n", no_trace, read_as_16_bit},
      {"LF one byte later", line_of(3071) + "\n1 2 3 4\n", no_trace, null_series},
      {"a zero byte before it", "!S512 \0 x\n1 2 3 4\n"s, "Trying text TM4", read_as_tm4},
  });
}

TEST(open_series, tells_binary_files_by_three_equal_block_starts) {
  const std::string both = blocks("!S128\r", {"TIME", "TIME", "TIME"}, 260) +
                           std::string(1028 - 780, 'd') + "TIME" + std::string(1024, 'e') + "TIME" +
                           std::string(1024, 'f');
  expect_detection({
      {"1028 bytes apart", blocks("!S512 x\r", {"TIME", "TIME", "TIME"}, 1028),
       "Trying binary !S512", read_as_16_bit},
      {"1028 bytes apart, called !S128", blocks("!S128 x\r", {"TIME", "TIME", "TIME"}, 1028),
       "Trying binary !S512", read_as_16_bit},
      {"260 bytes apart", blocks("!S128 x\r", {"TIME", "TIME", "TIME"}, 260), "Trying binary !S128",
       read_as_16_bit},
      {"260 bytes apart, called !S512", blocks("!S512 x\r", {"TIME", "TIME", "TIME"}, 260),
       "Trying binary !S128", read_as_16_bit},
      {"both distances", both, "Trying binary !S512", read_as_16_bit},
      {"a time word that starts with LF", blocks("!S512 x\r", {"\n 1 ", "\n 1 ", "\n 1 "}, 1028),
       "Trying binary !S512", read_as_16_bit},
      {"the second differs in its last byte", blocks("!S512 x\r", {"TIME", "TIMe", "TIME"}, 1028),
       no_trace, read_as_16_bit},
      {"the third differs in its first byte", blocks("!S128 x\r", {"TIME", "TIME", "tIME"}, 260),
       no_trace, read_as_16_bit},
      {"behind LF alone", blocks("!S512 x\n", {"TIME", "TIME", "TIME"}, 1028), "Trying text !S512",
       read_as_16_bit},
      {"the last place that the first bytes hold",
       blocks("!S512" + std::string(1005, 'x') + "\r", {"TIME", "TIME", "TIME"}, 1028),
       "Trying binary !S512", read_as_16_bit},
      {"beyond the first bytes",
       blocks("!S512" + std::string(2000, 'x') + "\r", {"TIME", "TIME", "TIME"}, 1028), no_trace,
       read_as_16_bit},
  });
}

TEST(open_series, tells_text_files_by_the_fields_of_their_second_line) {
  using namespace std::string_literals;
  const auto second_line = [](const std::string& line) { return "!S512 x\n" + line; };
  expect_detection({
      {"no second line", second_line(""), "Trying text !S512", read_as_16_bit},
      {"an empty one", second_line("\n1 2 3 4\n"), "Trying text !S512", read_as_16_bit},
      {"3 fields", second_line("1 2 3\n1 2 3 4\n"), "Trying text !S512", read_as_16_bit},
      {"3 fields and CR", second_line("1 2 3\r\n"), "Trying text !S512", read_as_16_bit},
      {"3 fields, a blank and CR", second_line("1 2 3 \r\n"), "Trying text !S512", read_as_16_bit},
      {"4 fields", second_line("1 2 3 4\n1\n"), "Trying text TM4", read_as_tm4},
      {"4 words at the file's end", second_line("a b c d"), "Trying text TM4", read_as_tm4},
      {"all sorts of white space", second_line(" \t1\t2 \v 3\f4 \r\n"), "Trying text TM4",
       read_as_tm4},
      {"127 fields", second_line(repeated("-1 ", 127) + "\n"), "Trying text TM4", read_as_tm4},
      {"128 fields", second_line(repeated("-1 ", 128) + "\n"), "Trying text !S512", read_as_16_bit},
      {"a zero byte after 3", second_line("1 2 3\0 4 5\n"s), "Trying text !S512", read_as_16_bit},
      {"called !S128", "!S128 x\n1 2 3 4\n", "Trying text TM4", read_as_tm4},
      {"behind CR LF", "!S512 x\r\n1 2 3 4\n", "Trying text TM4", read_as_tm4},
      {"behind CR LF, 3 fields", "!S512 x\r\n1 2 3\n", "Trying text !S512", read_as_16_bit},
      {"behind CR alone", "!S512 x\r1 2 3 4\n", no_trace, read_as_16_bit},
      {"behind CR CR LF", "!S512 x\r\r\n1 2 3 4\n", no_trace, read_as_16_bit},
      {"cut by the end of the first bytes",
       "!S512" + std::string(3070 - 5 - 6, 'x') + "\n1 2 3 4\n", "Trying text !S512",
       read_as_16_bit},
      {"4 fields just within the first bytes",
       "!S512" + std::string(3070 - 5 - 7, 'x') + "\n1 2 3 4\n", "Trying text TM4", read_as_tm4},
  });
}

TEST(open_series, gives_null_for_what_can_not_be_opened) {
  const support::TemporaryFolder folder;
  const TraceOn trace;
  support::CapturedStderr captured;
  EXPECT_EQ(outcome(folder / "missing"), null_series);
  EXPECT_EQ(outcome(folder.path().string()), null_series);
  EXPECT_EQ(outcome(""), null_series);
  EXPECT_EQ(captured.take(), "");
}

TEST(open_series, hands_the_name_time_to_the_readers_that_want_one) {
  const support::TemporaryFolder folder;
  const std::string head = support::comment_line('S', 128, 8) + "\n";
  for (const std::string& lines :
       {support::text_group("360 0", 0, 128), support::tm4_lines(0, 0, 99, 8)}) {
    const std::string path = folder.write("series", head + lines);
    EXPECT_EQ(open_series(path, 0, true)->times.at(0), 1456812000.0);
    EXPECT_EQ(open_series(path, 1456812001.5, true)->times.at(0), 1456812001.5);
  }
}

TEST(open_series, writes_no_trace_unless_told_to) {
  const support::TemporaryFolder folder;
  const std::string path = folder.write("a.ko24", support::Ko24File({}).bytes());
  support::CapturedStderr captured;
  const auto series = open_series(path, 0.0, true);
  EXPECT_EQ(captured.take(), "");
  ASSERT_NE(series, nullptr);
  EXPECT_EQ(series->format_id(), 1);
}

TEST(scaled_value, is_the_raw_value_times_range_times_scale) {
  struct Row {
    std::int32_t raw;
    double range_high;
    double scale;
    double expected;
  };

  const std::vector<Row> table = {
      {3, 10.0, 0.5, 15.0},
      {-8388608, 10.0, 1.0, -83886080.0},
      {2147483647, 0.5, 2.0, 2147483647.0},
      {7, -10.0, 40.0, -2800.0},
      {0, 10.0, 1.0, 0.0},
      {2, 1e308, 0.1, HUGE_VAL},  // the range comes first
  };
  const KorLa::Korla_Base series;
  for (const Row& row : table) {
    SCOPED_TRACE(row.expected);
    KorLa::ChannelDescriptor channel;
    channel.range_low = 1e6;  // not looked at
    channel.range_high = row.range_high;
    channel.scale = row.scale;
    EXPECT_EQ(series.scaled_value(row.raw, channel), row.expected);
  }
}

TEST(start_time, is_seconds_and_nanoseconds) {
  KorLa::Korla_Base series;
  series.header.start_sec = 4000000000U;
  series.header.start_nsec = 750000000U;
  EXPECT_EQ(series.start_time(), 4000000000.75);
}

}  // namespace
