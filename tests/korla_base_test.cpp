// What no single file in tests/station_files shows of the file library.

#include "korla/korla_base.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "korla/korla16.h"
#include "korla/korla24.h"
#include "korla/korla_binary.h"
#include "korla/korla_text.h"
#include "korla/korla_tm4.h"
#include "korla/messages.h"
#include "korla/path_date.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::find_time_mark;
using KorLa::open_series;
using support::contents_of;
using support::failure;
using support::station_file;
using Counts = std::vector<std::int32_t>;

TEST(open_series, gives_null_for_what_can_not_be_opened) {
  const support::TemporaryFolder folder;
  EXPECT_EQ(open_series(folder / "missing", 0, false), nullptr);
  EXPECT_EQ(open_series(folder.path().string(), 0, false), nullptr);
  EXPECT_EQ(open_series("/dev/null", 0, false), nullptr);
  const std::string none = folder / "missing";
  EXPECT_EQ(failure([&] { KorLa::KORLA24(none, true); }), "Couldn't open " + none + "\n");
  EXPECT_EQ(failure([&] { KorLa::KORLA16(none, 0); }), "Can't open " + none + "\n");
  EXPECT_EQ(failure([&] { KorLa::KORLA_TM4(none, 0); }), "Can't open " + none + "\n");
  EXPECT_EQ(KorLa::modification_year(none), 1970);
}

TEST(open_series, tells_an_error_from_the_end) {
  constexpr const char* path = "/proc/self/mem";
  const std::string error = "Can't read /proc/self/mem: Input/output error\n";
  EXPECT_EQ(failure([] { open_series(path, 0, false); }), error);
  EXPECT_EQ(failure([] { KorLa::KORLA24(path, true); }), error);
  EXPECT_EQ(failure([] { KorLa::KORLA16(path, 0); }), error);
  EXPECT_EQ(failure([] { KorLa::KORLA_TM4(path, 0); }), error);
  KorLa::StationFile file;
  file.path = path;
  file.data_offset = 1;
  const auto open = [] { return KorLa::open_for_reading(path); };
  EXPECT_EQ(failure([&] { KorLa::AsciiKORLA(file, open(), true); }), error);
  EXPECT_EQ(failure([&] { KorLa::BinaryKORLA(file, open(), true); }), error);
}

// The last rows: a character cut short, forms that are too long, a surrogate, and beyond the last.
TEST(messages, show_no_control_characters) {
  const std::pair<std::string, std::string> table[] = {
      {"a\tb\r\n\x1b\x1f ~\x7f", "a\tb???? ~?"},
      {"\xc2\x80\xc2\x9f\xc2\xa0\xc3\x9b\xf0\x9f\x98\x80", "??\xc2\xa0\xc3\x9b\xf0\x9f\x98\x80"},
      {"\xf0\x9f\x98\xc0\x9b\xe0\x82\x9b\xf0\x82\x82\x9b", "\xf0??\xc0?\xe0??\xf0???"},
      {"\xed\x9f\x9b\xed\xa0\x80\xf4\x90\x80\x80\xff\x9b\xc2",
       "\xed\x9f\x9b\xed\xa0?\xf4???\xff?\xc2"}};
  for (const auto& [text, shown] : table) {
    EXPECT_EQ(KorLa::printable(text), shown);
  }
  support::CapturedStderr captured;
  KorLa::write_message("a\tb\r\n" + KorLa::compose("{} {}\n", "\n", 1));
  EXPECT_EQ(captured.take(), "a\tb?\n? 1\n");
}

TEST(open_series, hands_the_name_time_to_the_readers_that_want_one) {
  const auto start = [](const std::string& file, double name_time) {
    const support::CapturedStderr captured;
    return open_series(station_file(file), name_time, true)->times.at(0);
  };
  constexpr double six = 1456812000;  // 06:00 on 1 March 2016
  EXPECT_EQ(start("text/blocks_of_128.dat", six + 1.5), six + 1.5);
  EXPECT_EQ(start("text/blocks_of_128.dat", six + 2.5), six);
  EXPECT_EQ(start("binary/blocks_of_128.dat", six + 1.5), six + 1.5);
  EXPECT_EQ(start("ko24/two_samples.ko24", six + 1.5), six);
  EXPECT_EQ(start("tm4/ten_lines.dat", six + 21601.5), six + 21601.5);
  // Where nothing else does, it names the day; the stamp is of 06:02.
  EXPECT_EQ(start("start/nothing.dat", six + 3600.5), six + 120);
  EXPECT_EQ(start("start/nothing.dat", -86400.5), 86400 * -2 + 21720);
}

TEST(decide_start, takes_a_name_time_that_is_less_than_2_s_off) {
  // The start, its fields, and the one in the extension.
  const auto settled = [](double start, double name_time) {
    KorLa::SeriesHeader header;
    const double time = KorLa::decide_start(header, start, false, name_time);
    return fmt::format("{} = {} s {} ns, {}", time, std::uint32_t{header.start_sec},
                       std::uint32_t{header.start_nsec},
                       std::bit_cast<std::uint64_t>(header.extra_time));
  };
  EXPECT_EQ(settled(100, 101.75), "101.75 = 101 s 750000000 ns, 101");
  EXPECT_EQ(settled(100, 98.25), "98.25 = 98 s 250000000 ns, 98");
  EXPECT_EQ(settled(100, 102), "100 = 100 s 0 ns, 0");
  EXPECT_EQ(settled(100, 98), "100 = 100 s 0 ns, 0");
  EXPECT_EQ(settled(100, 100), "100 = 100 s 0 ns, 100");
  EXPECT_EQ(settled(1, 0), "1 = 1 s 0 ns, 0");
  EXPECT_EQ(settled(100, std::nan("")), "100 = 100 s 0 ns, 0");
  EXPECT_EQ(settled(-0.5, 0), "-0.5 = 0 s 0 ns, 0");
  EXPECT_EQ(settled(5e9, 0), "5000000000 = 4294967295 s 1000000000 ns, 0");
}

// What is missing counts as zero, so that the first tag after the cut is the one that fails.
TEST(korla24, names_the_first_tag_that_a_cut_file_lacks) {
  const support::TemporaryFolder folder;
  for (const std::size_t version : {0, 1, 2}) {
    const std::string name = fmt::format("version_{}.ko24", version);
    const std::string path = folder.write(name, contents_of(station_file("ko24/" + name)));
    const std::size_t table = 32 + 4 * version;
    for (std::size_t size = std::filesystem::file_size(path); size-- > 0;) {
      std::filesystem::resize_file(path, size);
      const std::string expected = size < 4                ? "This is not a valid ko24 file\n"
                                   : size < table + 4      ? "Unknown magic chns\n"
                                   : size < table + 44     ? "Unknown magic chan\n"
                                   : size < table + 72 + 4 ? "Unknown magic data\n"
                                                           : "nothing";
      EXPECT_EQ(failure([&] { KorLa::KORLA24(path, false); }), expected)
          << "version " << version << " cut to " << size;
    }
  }
}

/// The rule for marks, word by word and at its full cost. A mark starts above 300000 and goes on
/// while samples are not below it; its length less one is w or w + 1; one that reaches the end is
/// none; where it is none, the search goes on at the next sample.
std::size_t slow_find_time_mark(std::span<const std::int32_t> samples, std::size_t w) {
  for (std::size_t start = 0; start < samples.size(); ++start) {
    std::size_t end = start;
    while (end < samples.size() && samples[end] >= 300000) {
      ++end;
    }
    const bool fits = end - start == w + 1 || end - start == w + 2;
    if (samples[start] > 300000 && end < samples.size() && fits) {
      return start;
    }
  }
  return samples.size();
}

/// Samples at and beside the level, most of them high.
Counts random_marks(std::mt19937& random) {
  constexpr std::array<std::int32_t, 6> levels = {299999, -400000, 300000, 300001, 400000, 8388607};
  Counts samples(random() % 32);
  for (std::int32_t& sample : samples) {
    sample = levels.at(random() % 8 == 0 ? random() % 2 : 2 + random() % 4);
  }
  return samples;
}

TEST(find_time_mark, agrees_with_the_rule_on_random_series) {
  std::mt19937 random(20160301);
  int found = 0;
  int missed = 0;
  int shortened = 0;
  for (unsigned w = 0; w <= 6; ++w) {
    for (int series = 0; series < 4000; ++series) {
      const Counts samples = random_marks(random);
      for (std::size_t start = 0; start <= samples.size(); start += 1 + random() % 5) {
        const auto rest = std::span(samples).subspan(start);
        const std::size_t mark = slow_find_time_mark(rest, w);
        ASSERT_EQ(find_time_mark(rest, static_cast<int>(w)), mark)
            << "w " << w << ", samples " << testing::PrintToString(rest);
        (mark < rest.size() ? found : missed) += 1;
        shortened += mark > 0 && mark < rest.size() && rest[mark - 1] >= 300000 ? 1 : 0;
      }
    }
  }
  // The series are worth something only with plenty of each kind.
  EXPECT_GT(std::min({found, missed, shortened}), 10000);
}

// A search that starts anew within every run would not live to see the end of this.
TEST(find_time_mark, passes_a_stuck_channel_in_linear_time) {
  const std::size_t size = 1000000;
  Counts samples(size, 300000);
  samples.front() = 300001;
  samples.back() = 0;
  EXPECT_EQ(find_time_mark(samples, 18), size);
  EXPECT_EQ(find_time_mark(Counts(size, 8388607), 18), size);
}

}  // namespace
