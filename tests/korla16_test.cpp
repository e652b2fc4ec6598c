// 16-bit station files, text and binary: good ones, broken ones, their times and gaps.

#include "korla/korla16.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "korla/korla.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::KORLA16;
using support::binary_block;
using support::binary_file;
using support::binary_group;
using support::bytes_of;
using support::comment_line;
using support::failure;
using support::placed_samples;
using support::text_file;
using support::text_group;
using support::text_line;
using testing::EndsWith;
using testing::StartsWith;

constexpr double frequency = 8;  // so that a block of 128 samples is of 16 s, one of 512 of 64
constexpr std::int64_t day = 1456790400;   // 1 March 2016
constexpr std::int64_t six = day + 21600;  // what comment_line says
constexpr std::int64_t noon = day + 43200;

const std::string one_gap = "TIMEGAP in data\n";
const std::string more_gaps = "Warning: TIMEGAPs in data\n";
const std::string undated =
    "WARNING: PATH: neither comment nor path has a date, times count from 1970\n";
const std::string no_comment =
    "validate_comment: Invalid comment line\nCouldn't determine sampling frequency\n"
    "defaulting to 18.0Hz\n";

class korla16 : public FreshState {
 protected:
  /// Reads a file of 2016; `said` is what was written to the error stream, with PATH for its path.
  std::unique_ptr<KORLA16> read(const std::string& bytes, const std::string& name = "a.dat",
                                double name_time = 0) {
    const std::string path = folder.write(name, bytes);
    support::set_change_time(path, six);
    support::CapturedStderr captured;
    auto series = std::make_unique<KORLA16>(path, name_time);
    said = std::regex_replace(captured.take(), std::regex(path), "PATH");
    return series;
  }

  /// The series has placed samples from 0 on, and no more.
  static void expect_placed(const KORLA16& series, std::size_t count) {
    ASSERT_EQ(series.samples.size(), 3U);
    for (std::size_t c = 0; c < 3; ++c) {
      EXPECT_EQ(series.samples[c], placed_samples(c, 0, count)) << "channel " << c;
    }
    EXPECT_EQ(series.times.size(), count);
  }

  support::TemporaryFolder folder;
  std::string said;
};

TEST_F(korla16, reads_samples_and_times_of_every_layout) {
  struct Row {
    std::string name;
    std::string bytes;
    std::size_t block_length = 128;
  };

  const std::vector<std::string> stamps = {"360 0", "360 16"};
  const std::string text = text_file(stamps);
  const std::string between = "\n\n\r\nA line of words\nZ 1 2 3\n \t \n\r\n";
  const std::string binary = binary_file({{360, 0}, {360, 16}});
  const std::vector<Row> table = {
      {"text", text},
      {"blanks and tabs", text_file(stamps, 128, {" \n", " \t ", " \t "})},
      {"fractional times", text_file({"359.6 0.4", "360.4 1.55e1"})},
      {"lines of other kinds between", text_file(stamps, 128, {.line_end = between})},
      {"no last line end", text.substr(0, text.size() - 1)},
      {"more on lines than a block has", text_file(stamps, 128, {.line_end = " 9 words\n"})},
      {"text without times", text_file(stamps, 128, {.times = false})},
      {"text of 10 values", text_file({"360 0", "360 1"}, 10), 10},
      {"binary", binary},
      {"times in one number", binary_file({{0xfff8, 0x56d5}, {8, 0x56d6}}).replace(1, 1, "U")},
      {"padded comment", std::string(binary).insert(binary.find('\r'), "\x7f\x7f")},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const auto series = read(row.bytes);
    EXPECT_EQ(said, row.block_length == 10 ? "WARNING: nonstandard length: 10\n" : "");
    expect_placed(*series, 2 * row.block_length);
    for (std::size_t i = 0; i < series->times.size(); ++i) {
      ASSERT_EQ(series->times[i], six + static_cast<double>(i) / frequency) << i;
    }
  }
}

// Binary files have the block length that their own scan finds, whatever their comment is worth.
TEST_F(korla16, reads_binary_files_whose_comment_is_none) {
  const auto expect = [&](const std::string& comment, std::size_t block_length, bool stamped) {
    SCOPED_TRACE(comment);
    const std::vector<int> words(stamped ? 2 : 0, 13);
    const auto series = read(comment + binary_group(words, 0, block_length));
    EXPECT_EQ(said, no_comment + undated);
    expect_placed(*series, block_length);
    EXPECT_EQ(series->times.at(0), stamped ? 13 * 60 + 13 : 0);
    EXPECT_EQ(series->times.at(1), series->times.at(0) + 1 / 18.0);
  };
  expect("!S512 and nothing else\r", 512, true);
  expect("!SUusS!512\r", 512, true);
  expect("!S5\x7f\x31\x32\r", 512, true);  // 127 is dropped
  expect("!512\r", 128, true);
  expect("!S1024\r", 128, true);
  expect("!S512X\nsecond line\r", 512, true);
  expect("Tidserier\r", 128, false);
  expect("T!S512\r", 128, false);
  expect("", 128, true);  // the first word is no "!", so that there is no comment line
}

TEST_F(korla16, keeps_every_value_of_16_bits_and_in_text_of_more) {
  std::mt19937 random(16);
  for (const bool binary : {false, true}) {
    std::vector<std::vector<std::int32_t>> written(3);
    std::string bytes = comment_line('S', 512, frequency) + (binary ? '\r' : '\n');
    for (std::size_t i = 0; i < 30; ++i) {
      std::vector<std::int32_t> block = {-32768, 32767, -1, binary ? 0 : INT32_MIN};
      while (block.size() < 512) {
        const auto any = static_cast<std::int32_t>(random());
        block.push_back(binary ? static_cast<std::int16_t>(any) : any >> random() % 32);
      }
      bytes += binary ? binary_block({360, 0}, block) : text_line("360 0", block);
      written[i % 3].insert(written[i % 3].end(), block.begin(), block.end());
    }
    EXPECT_EQ(read(bytes)->samples, written);
  }
}

TEST_F(korla16, presets_the_header) {
  const auto series =
      read("!S128Tidserier sampfrek: 12.5 gain: 3 station: t2 date: 2016-03-01 time: 12:00:07\n" +
           text_group("720 7", 0, 128));
  const KorLa::SeriesHeader expected{.magic = {'k', 'o', '2', '4'},
                                     .version = 1,
                                     .station = 6,
                                     .start_sec = noon + 7,
                                     .sample_code = 7,
                                     .n_channels = 3,
                                     .sampling_frequency = 12.5,
                                     .bits_per_sample = 16,
                                     .bytes_per_sample = 2};
  EXPECT_EQ(bytes_of(series->header), bytes_of(expected));
  ASSERT_EQ(series->channels.size(), 3U);
  for (const std::uint16_t c : {0, 1, 2}) {
    const KorLa::ChannelDescriptor channel = {{'c', 'h', 'a', 'n'}, c, 1, -10, 10, 30};
    EXPECT_EQ(bytes_of(series->channels[c]), bytes_of(channel));
  }
}

TEST_F(korla16, takes_gains_1_to_4_and_stations_of_the_table) {
  const auto with = [&](const std::string& words) {
    return read("!S128Tidserier sampfrek: 8" + words + "\n" + text_group("1 1", 0, 128));
  };
  EXPECT_EQ(double{with(" gain: 1")->channels.at(2).scale}, 10);
  EXPECT_EQ(double{with(" gain: 4")->channels.at(2).scale}, 40);
  EXPECT_EQ(double{with("")->channels.at(2).scale}, 10);
  EXPECT_EQ(int{with("")->header.station}, 255);
  EXPECT_EQ(int{with(" gain: 1 station: fjallby")->header.station}, 4);
  EXPECT_EQ(failure([&] { with(" gain: 1 station: Rasvik"); }), "map::at");
  EXPECT_THAT(failure([&] { with(" gain: 0"); }), StartsWith("array::at"));
  EXPECT_THAT(failure([&] { with(" gain: 5"); }), StartsWith("array::at"));
}

TEST_F(korla16, refuses_what_is_no_station_file) {
  const std::string text = text_file({"360 0"});
  const std::string line = "!" + std::string(254, 'x');
  const auto error = [&](const std::string& bytes) { return failure([&] { read(bytes); }); };
  EXPECT_EQ(error(text.substr(0, 255)), "fread: EOF \n");
  EXPECT_EQ(error(text.substr(0, 256)), "nothing");
  EXPECT_EQ(error(line + "\r" + text), "nothing");
  EXPECT_EQ(error(line + "x\r" + text), "Found no end of first commentline\n");
  EXPECT_EQ(failure([&] { KORLA16(folder / "none", 0); }), "Can't open " + folder / "none" + "\n");
}

// The binary reader's comment line ends with CR alone.
TEST_F(korla16, ends_the_process_inside_a_comment_without_cr) {
  for (const char letter : {'!', 'T', '?'}) {
    const std::string path = folder.write("a.dat", letter + ("\n" + std::string(300, '1')));
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { KORLA16(path, 0); }), letter == '?' ? -1 : 1);
    const std::string end = "fgetc: EOF \n" + path + ": the file ends in its comment line\n";
    EXPECT_THAT(captured.take(), StartsWith(no_comment + (letter == '?' ? "" : end)));
  }
}

TEST_F(korla16, keeps_what_stands_before_the_damage) {
  const auto line = [](std::size_t channel, std::size_t count = 128) {
    return text_line("360 16", placed_samples(channel, 128, count));
  };
  const auto failed = [](int place, const std::string& damaged) {
    return fmt::format("Failed to read value {}, of line:\n{}", place, damaged);
  };
  constexpr auto ended = "{}WARNING: PATH: group {} is incomplete or damaged, samples end there\n";
  const std::string text = text_file({"360 0"});
  const std::string group = text_group("360 16", 128, 128);
  const std::string one_short = line(1, 127);
  const std::string long_line = std::string(51199 - line(0).size(), ' ') + group;
  const std::string bare = text_file({""}, 128, {.times = false});
  const std::string bare_short = text_line("", placed_samples(0, 0, 127), {.times = false});
  const std::string binary = binary_file({{360, 0}});
  const std::string blocks = binary_group({360, 16}, 128, 128);

  struct Row {
    std::string name;
    std::string bytes;
    std::string said = {};  ///< in front of the group at which samples end
    int groups = 1;
  };

  const std::vector<Row> table = {
      {"two lines of a group", text + line(0) + line(1)},
      {"one line alone", text_file({}) + line(0), "", 0},
      {"a short line", text + line(0) + one_short + group, failed(129, one_short)},
      {"a fraction", text + "360 16 7.5\n" + group, failed(3, "360 16 7.5\n")},
      {"too large", text + "360 16 2147483648\n" + group, failed(2, "360 16 2147483648\n")},
      {"no minute", text + "? 16 5\n" + group},
      {"no second", text + "360 nan 5\n" + group},
      {"a minute beyond all days", text + "1e6 16 5\n" + group},
      {"a line that is too long", text + " " + long_line, "Error: Line to long\n"},
      {"two values lost in the first line",
       text_file({}) + text_line("360 0", placed_samples(0, 0, 126)) + group, "", 0},
      {"a short line of a file without times", bare + bare_short, failed(129, bare_short)},
      {"binary: a byte", binary + "x", "fread: EOF\n"},
      {"binary: a block but for a byte", binary + blocks.substr(0, 259), "fread: EOF\n"},
      {"binary: a block", binary + blocks.substr(0, 260)},
      {"binary: half of the first group", binary.substr(0, 400), "fread: EOF\n", 0},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const auto series = read(row.bytes);
    EXPECT_EQ(said, fmt::format(ended, row.said, row.groups + 1));
    expect_placed(*series, 128 * static_cast<std::size_t>(row.groups));
    EXPECT_EQ(series->start_time(), six);
  }
  expect_placed(*read(text + long_line), 256);
  EXPECT_EQ(said, "");
}

// From text; and, by negtime, from binary where a binary file can say the same.
TEST_F(korla16, goes_by_stamps_and_marks) {
  struct Row {
    std::string name;
    std::vector<int> stamps;    ///< from `begin`
    std::vector<double> times;  ///< of the groups' first samples, from `begin`
    std::string said = {};
    std::vector<std::size_t> marked = {};  ///< groups that have lines that mark a gap
    int begin = 21600;                     ///< second of the day in the comment
    int earlier = 0;                       ///< seconds, with negtime
  };

  const auto back = [](int group) {
    return fmt::format("WARNING: PATH: the time goes back at group {}, samples count on\n", group);
  };
  const std::vector<Row> table = {
      {"two seconds late", {0, 18, 34}, {0, 16, 32}},
      {"three", {0, 19, 35}, {0, 19, 35}, one_gap},
      {"three, measured from the first", {0, 17, 34, 51, 67}, {0, 16, 32, 51, 67}, one_gap},
      {"two gaps", {0, 30, 46, 70, 86}, {0, 30, 46, 70, 86}, more_gaps},
      {"two seconds early", {0, 14, 30}, {0, 16, 32}},
      {"three early", {0, 13, 32}, {0, 16, 32}, back(2)},
      {"back twice: said once", {30, 0, -60}, {0, 16, 32}, back(2)},
      {"a gap, then back", {0, 300, 32}, {0, 300, 316}, back(3) + one_gap},
      {"a mark where they are a second late", {0, 17}, {0, 17}, one_gap, {1}},
      {"a mark where they are in time", {0, 16}, {0, 16}, one_gap, {1}},
      {"a mark where they are early", {0, 15}, {0, 16}, one_gap, {1}},
      {"a mark in the first group", {0, 17}, {0, 16}, "", {0}},
      {"two marks", {0, 16, 40}, {0, 16, 40}, more_gaps, {1, 2}},
      {"across midnight", {0, 16, 32}, {0, 16, 32}, "", {}, 86390, 86400},
      {"a gap across midnight", {0, 16, 3605}, {0, 16, 3605}, one_gap, {}, 82800, 86400},
      {"a gap behind midnight", {0, 7140}, {0, 7140}, one_gap, {}, 82800, 86400},
      {"begun before the last hour", {0, 3607}, {0, 16}, back(2), {}, 82799},
      {"minute 60 at once", {0, 7200}, {0, 16}, back(2), {}, 82800},
      {"minute 60", {0, 3660, 7200}, {0, 3660, 3676}, back(3) + one_gap, {}, 82800, 86400},
      {"only up to midnight", {0, 16}, {0, 16}, "", {}, 86380},
  };
  for (const Row& row : table) {
    std::string text = text_file({});
    text.replace(text.size() - 9, 8, fmt::format("{:%T}", std::chrono::seconds(row.begin)));
    std::string binary = text.substr(0, text.size() - 1) + '\r';
    for (std::size_t g = 0; g < row.stamps.size(); ++g) {
      const int second = (row.begin + row.stamps[g]) % 86400;
      const std::string group =
          text_group(fmt::format("{} {}", second / 60, second % 60), 128 * g, 128);
      const bool marked = testing::Value(row.marked, testing::Contains(g));
      text += marked ? std::string(group).insert(group.find('\n') + 1, "! gap\n!\n") : group;
      binary += binary_group({second / 60, second % 60}, 128 * g, 128);
    }
    for (const bool negtime : {false, true}) {
      SCOPED_TRACE(row.name);
      KorLa::negtime = negtime;
      const auto series = read(negtime && row.marked.empty() ? binary : text);
      EXPECT_EQ(said, row.said);
      ASSERT_NO_FATAL_FAILURE(expect_placed(*series, 128 * row.stamps.size()));
      const auto first = static_cast<double>(day + row.begin - (negtime ? row.earlier : 0));
      for (std::size_t i = 0; i < series->times.size(); ++i) {
        const double place = row.times[i / 128] + static_cast<double>(i % 128) / frequency;
        ASSERT_EQ(series->times[i], first + place) << "sample " << i;
      }
    }
  }
  // Blocks of 1.25 s: back, and within the tolerance all the same.
  read(text_file({"360 0", "360 1", "360 3", "360 2"}, 10));
  EXPECT_EQ(said, "WARNING: nonstandard length: 10\n" + back(4));
  const support::TextStyle bare{.line_end = "\n!\n", .times = false};
  const auto series = read(text_file({"", ""}, 128, bare));
  EXPECT_EQ(said, one_gap);
  EXPECT_EQ(series->times.at(128), six + 16);
}

TEST_F(korla16, goes_by_the_first_channels_stamp) {
  for (const std::size_t odd : {1U, 2U}) {
    std::string text = text_file({"360 0", "360 16", "360 32"});
    std::string binary = binary_file({{360, 0}, {360, 16}, {360, 32}});
    for (const std::size_t group : {1U, 2U}) {  // of which the first alone is told of
      text.at(text.find(fmt::format(" {} ", 1280 * group + odd)) - 1) = '9';
      binary.at(binary.find('\r') + 1 + 260 * (3 * group + odd) + 2) = 99;
    }
    for (const std::string& bytes : {text, binary}) {
      EXPECT_EQ(read(bytes)->times.at(256), six + 32);
      EXPECT_EQ(said, "WARNING: PATH: the channels' times differ in group 2\n");
    }
  }
}

TEST_F(korla16, starts_by_comment_then_path_then_stamps) {
  struct Row {
    std::string file;
    std::string comment;  ///< behind the gain
    std::string stamp;
    std::int64_t start;
    int station = 0;
    std::string said = {};
    double name_time = 0;
  };

  const std::string inferred = "Warning: year parsed from filename, 2016, is uncertain\n";
  const std::string full = " station: r date: 2016-03-01 time: 12:00:00";
  const std::string no_date = " station: r date: 2016-02-30 time: 12:00:00";
  const std::vector<Row> table = {
      {"t2012010203.dat", full, "5 7", noon},
      {"a.dat", " station: r date: 2016-03-01", "5 7", day + 307},
      {"a.dat", no_date, "5 7", 307, 0, undated},
      {"t2016030112.dat", "", "720 0", noon, 1},
      {"t2016030112.dat", "", "779 59", noon + 3599, 1},
      {"t2016030112.dat", "", "780 0", noon, 1},
      {"t2016030112.dat", "", "719 59", noon, 1},
      {"t2016030112.dat", " station: f", "720 0", noon, 4},
      {"x2016030112.dat", "", "720 0", noon, 255},
      {"r6030112.dat", "", "720 0", noon, 0, inferred},
      {"a.dat", "", "5 7", 307, 255, undated},
      {"a.dat", "", "362 0", six + 120, 255, "", six + 3600.5},  // it names the stamps' day
      {"a.dat", "", "362 0", 86400 * -2 + 21720, 255, "", -86400.5},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.file + row.comment + ", " + row.stamp);
    const std::string bytes = "!S128Tidserier sampfrek: 8 gain: 1" + row.comment + "\n";
    const auto series = read(bytes + text_group(row.stamp, 0, 128), row.file, row.name_time);
    EXPECT_EQ(said, row.said);
    EXPECT_EQ(series->times.at(0), row.start);
    EXPECT_EQ(int{series->header.station}, row.station);
    const bool from_path = row.file != "a.dat" && row.comment != full;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(series->header.extra_time), from_path ? row.start : 0);
  }
}

TEST(settle_start, takes_a_name_time_that_is_less_than_2_s_off) {
  // The start, its fields, and the one in the extension.
  const auto settled = [](double start, double name_time) {
    KorLa::SeriesHeader header;
    const double time = KorLa::settle_start(header, start, false, name_time);
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

TEST_F(korla16, is_text_when_three_numbers_follow_a_good_comment) {
  const std::string good = comment_line('S', 128, frequency);
  const std::string rest = binary_group({360, 0}, 0, 128);
  const auto type = [&](const std::string& bytes) {
    support::CapturedStderr captured;
    const auto file = KorLa::open_station_file(folder.write("a.dat", bytes), 0, false);
    return captured.take() + (file->is_binary() ? "binary" : "text");
  };
  const auto text = EndsWith("File: " + (folder / "a.dat") + " Type: text\ntext");
  const auto binary = EndsWith("File: " + (folder / "a.dat") + " Type: binary\nbinary");
  EXPECT_THAT(type(good + "\r1 2 3 " + rest), text);
  EXPECT_THAT(type(good + "\r\n\n 1.5\n-2\t3e1x" + rest), text);
  EXPECT_THAT(type(good + "\r1 2 x" + rest), binary);
  EXPECT_THAT(type(good + "\r" + std::string(1, '\0') + "1 2 3" + rest), binary);
  EXPECT_THAT(type("!S128 bad\r1 2 3 " + rest), binary);
  EXPECT_THAT(type(good + "\r" + std::string(256 - good.size(), ' ') + "1 2 3"), binary);
}

}  // namespace
