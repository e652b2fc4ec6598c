// ko24 files: good ones, broken ones, time marks.

#include "korla/korla24.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "korla/trace.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::find_time_mark;
using KorLa::KORLA24;
using support::Ko24Fields;
using support::Ko24File;
using testing::ElementsAre;
using testing::MatchesRegex;

using Counts = std::vector<std::int32_t>;

class korla24 : public testing::Test {
 protected:
  ~korla24() override { KorLa::debug = false; }

  /// Writes a file and reads it.
  KORLA24 read(const Ko24File& file, bool nudge = false) const {
    return {folder.write("series.ko24", file.bytes()), nudge};
  }

  /// The message that reading a file ends with; empty for a good file.
  std::string failure(const Ko24File& file) const {
    try {
      read(file);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  support::TemporaryFolder folder;
};

TEST_F(korla24, reads_head_channels_and_samples_of_every_version) {
  struct Row {
    int version;
    int header_size;
    std::array<std::uint8_t, 8> extra_time;
  };

  const std::vector<Row> table = {
      {0, 777, {}},
      {1, 781, {1, 2, 3, 4}},
      {2, 777, {1, 2, 3, 4, 5, 6, 7, 8}},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.version);
    Ko24File file({.version = static_cast<std::uint8_t>(row.version),
                   .station = 8,
                   .header_size = 777,
                   .start_sec = 0xfedcba98,
                   .start_nsec = 125000000,
                   .sample_code = 0x01020304,
                   .n_channels = 2,
                   .reserved = 99,
                   .sampling_frequency = 12.5,
                   .bits_per_sample = 8,   // neither of these
                   .bytes_per_sample = 1,  // is what the samples have
                   .extra_time = {1, 2, 3, 4, 5, 6, 7, 8}});
    file.set_descriptor(1, -2.5, 5.0, 0.25);
    file.add_values({1, -1, 8388607, -8388608, 2147483647, INT32_MIN});

    const KORLA24 series = read(file);
    const KorLa::SeriesHeader& header = series.header;
    EXPECT_THAT(header.magic, ElementsAre('k', 'o', '2', '4'));
    EXPECT_EQ(int{header.version}, row.version);
    EXPECT_EQ(int{header.station}, 8);
    EXPECT_EQ(int{header.header_size}, row.header_size);
    EXPECT_EQ(std::uint32_t{header.start_sec}, 0xfedcba98);
    EXPECT_EQ(std::uint32_t{header.start_nsec}, 125000000U);
    EXPECT_EQ(std::uint32_t{header.sample_code}, 0x01020304U);
    EXPECT_EQ(int{header.n_channels}, 2);
    EXPECT_EQ(int{header.reserved}, 99);
    EXPECT_EQ(double{header.sampling_frequency}, 12.5);
    EXPECT_EQ(int{header.bits_per_sample}, 8);
    EXPECT_EQ(int{header.bytes_per_sample}, 1);
    EXPECT_EQ(header.extra_time, row.extra_time);

    ASSERT_EQ(series.channels.size(), 2U);
    EXPECT_THAT(series.channels[1].magic, ElementsAre('c', 'h', 'a', 'n'));
    EXPECT_EQ(int{series.channels[0].index}, 0);
    EXPECT_EQ(int{series.channels[1].index}, 1);
    EXPECT_EQ(double{series.channels[0].range_high}, 10.0);
    EXPECT_EQ(double{series.channels[1].range_low}, -2.5);
    EXPECT_EQ(double{series.channels[1].range_high}, 5.0);
    EXPECT_EQ(double{series.channels[1].scale}, 0.25);

    EXPECT_THAT(series.samples,
                ElementsAre(Counts{1, 8388607, 2147483647}, Counts{-1, -8388608, INT32_MIN}));
    const double start = 0xfedcba98 + 0.125;
    EXPECT_THAT(series.times, ElementsAre(start, start + 0.08, start + 0.16));
    EXPECT_EQ(series.format_id(), 1);
  }
}

TEST_F(korla24, keeps_values_of_a_last_sample_that_is_not_whole) {
  struct Row {
    std::string name;
    Counts values;
    std::string tail;
    std::vector<Counts> expected;
    std::size_t n_times;
  };

  const std::vector<Row> table = {
      {"no samples", {}, "", {{}, {}, {}}, 0},
      {"part of a value", {}, "xyz", {{}, {}, {}}, 0},
      {"part of a value more", {1, 2, 3}, "xyz", {{1}, {2}, {3}}, 1},
      {"one value", {1}, "", {{1}, {}, {}}, 0},
      {"one value more", {1, 2, 3, 4}, "", {{1, 4}, {2}, {3}}, 1},
      {"two values and a part more", {1, 2, 3, 4, 5}, "x", {{1, 4}, {2, 5}, {3}}, 1},
      {"whole", {1, 2, 3, 4, 5, 6}, "", {{1, 4}, {2, 5}, {3, 6}}, 2},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    Ko24File file({.n_channels = 3});
    file.add_values(row.values);
    file.set_bytes(file.bytes().size(), row.tail);
    const KORLA24 series = read(file);
    EXPECT_EQ(series.samples, row.expected);
    EXPECT_EQ(series.times.size(), row.n_times);
  }
}

TEST_F(korla24, names_what_is_wrong_with_a_file) {
  using namespace std::string_literals;
  const Ko24File good({.version = 1, .n_channels = 3});
  const std::size_t table = good.channel_table_offset();

  struct Row {
    std::string name;
    Ko24File file;
    std::string message;
  };

  const std::vector<Row> rows = {
      {"nothing", good, ""},
      {"bytes behind the tags",
       Ko24File(good)
           .set_bytes(table + 4, "\xff\xff\xff\xff")
           .set_bytes(good.data_offset() + 4, "\xff\xff\xff\xff"),
       ""},
      {"magic", Ko24File(good).set_bytes(0, "kO24"), "This is not a valid ko24 file\n"},
      {"magic's end", Ko24File(good).set_bytes(3, "5"), "This is not a valid ko24 file\n"},
      {"magic and version", Ko24File(good).set_bytes(0, "RIFF\x09"),
       "This is not a valid ko24 file\n"},
      {"version 3", Ko24File(good).set_bytes(4, "\x03"), "Unknown version (3) of an ko24 file\n"},
      {"version 255", Ko24File(good).set_bytes(4, "\xff"),
       "Unknown version (255) of an ko24 file\n"},
      {"a version with a longer head", Ko24File(good).set_bytes(4, "\x02"), "Unknown magic chns\n"},
      {"a version with a shorter head", Ko24File(good).set_bytes(4, "\0"s), "Unknown magic chns\n"},
      {"channel table", Ko24File(good).set_bytes(table, "chnS"), "Unknown magic chns\n"},
      {"first channel", Ko24File(good).set_bytes(good.descriptor_offset(0), "C"),
       "Unknown magic chan\n"},
      {"last channel", Ko24File(good).set_bytes(good.descriptor_offset(2), "chaN"),
       "Unknown magic chan\n"},
      {"a channel too many", Ko24File(good).set_bytes(20, "\x04"), "Unknown magic chan\n"},
      {"a channel too few", Ko24File(good).set_bytes(20, "\x02"), "Unknown magic data\n"},
      {"data", Ko24File(good).set_bytes(good.data_offset(), "dat"s + '\0'), "Unknown magic data\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(failure(row.file), row.message);
  }
}

TEST_F(korla24, refuses_a_file_without_channels) {
  EXPECT_THAT(failure(Ko24File({.n_channels = 0})), MatchesRegex("No channels in .*ko24.*\n"));
}

TEST_F(korla24, refuses_a_file_that_is_not_there) {
  const std::string path = folder / "missing.ko24";
  try {
    const KORLA24 series(path, false);
    FAIL() << "read a file that is not there";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "Couldn't open " + path + "\n");
  }
}

// What is missing counts as zero, so that the first tag behind the cut is the one that fails.
TEST_F(korla24, names_the_first_tag_that_a_cut_file_lacks) {
  for (const int version : {0, 1, 2}) {
    Ko24File whole({.version = static_cast<std::uint8_t>(version), .n_channels = 2});
    whole.add_values({1, 2});
    for (std::size_t size = 0; size < whole.bytes().size(); ++size) {
      SCOPED_TRACE(testing::Message() << "version " << version << " cut to " << size);
      std::string expected;
      if (size < 4) {
        expected = "This is not a valid ko24 file\n";
      } else if (size < whole.channel_table_offset() + 4) {
        expected = "Unknown magic chns\n";
      } else if (size > 20 && size < whole.descriptor_offset(1) + 4) {
        expected = "Unknown magic chan\n";
      } else if (size < whole.data_offset() + 4) {
        expected = "Unknown magic data\n";
      }
      EXPECT_EQ(failure(Ko24File(whole).truncate(size)), expected);
    }
  }
}

// ---- Time marks

/// The rule for marks, word by word and at its full cost. A mark starts above 300000 and goes on
/// while samples are not below it; its length less one is w or w + 1; one that reaches the end is
/// none; where it is none, the search goes on at the next sample.
std::size_t slow_find_time_mark(std::span<const std::int32_t> samples, int w) {
  const int n = static_cast<int>(samples.size());
  const auto at = [&](int i) { return samples[static_cast<std::size_t>(i)]; };
  for (int start = 0; start < n; ++start) {
    if (at(start) <= 300000) {
      continue;
    }
    int end = start + 1;
    while (end < n && at(end) >= 300000) {
      ++end;
    }
    const int length_less_one = end - start - 1;
    if (end < n && w <= length_less_one && length_less_one < w + 2) {
      return static_cast<std::size_t>(start);
    }
  }
  return samples.size();
}

/// Runs of high and low samples of all lengths around `w`, with values at and beside the level.
Counts random_marks(std::mt19937& random, int w) {
  const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  constexpr std::array<std::int32_t, 3> low = {0, 299999, -400000};
  constexpr std::array<std::int32_t, 5> high = {300000, 300001, 400000, 300000, 8388607};
  Counts samples;
  const int runs = pick(6);
  for (int run = 0; run < runs; ++run) {
    for (int i = pick(4); i > 0; --i) {
      samples.push_back(low.at(static_cast<std::size_t>(pick(3))));
    }
    for (int i = pick(2 * w + 5); i > 0; --i) {
      samples.push_back(high.at(static_cast<std::size_t>(pick(5))));
    }
  }
  if (pick(4) != 0) {
    samples.push_back(0);
  }
  return samples;
}

TEST(find_time_mark, agrees_with_the_rule_on_random_series) {
  std::mt19937 random(20160301);
  int found = 0;
  int missed = 0;
  int shortened = 0;
  for (int w = 0; w <= 6; ++w) {
    for (int series = 0; series < 4000; ++series) {
      const Counts samples = random_marks(random, w);
      const std::span<const std::int32_t> all(samples);
      for (std::size_t start = 0; start <= samples.size(); start += 1 + random() % 5) {
        const auto rest = all.subspan(start);
        const std::size_t mark = slow_find_time_mark(rest, w);
        ASSERT_EQ(find_time_mark(rest, w), mark)
            << "w " << w << ", samples " << testing::PrintToString(rest);
        (mark < rest.size() ? found : missed) += 1;
        shortened += mark > 0 && mark < rest.size() && rest[mark - 1] >= 300000 ? 1 : 0;
      }
    }
  }
  // The series are worth something only with plenty of each kind.
  EXPECT_GT(found, 10000);
  EXPECT_GT(missed, 10000);
  EXPECT_GT(shortened, 10000);
}

TEST(find_time_mark, accepts_a_pulse_of_w_plus_one_samples_or_one_more) {
  constexpr int w = 18;

  struct Row {
    std::string name;
    std::size_t length;
    std::int32_t first;
    std::int32_t others;
    std::optional<std::size_t> place;  // within the pulse
  };

  const std::vector<Row> table = {
      {"w samples", w, 300001, 300001, std::nullopt},
      {"w + 1", w + 1, 300001, 300001, 0},
      {"w + 2", w + 2, 300001, 300001, 0},
      {"w + 3", w + 3, 300001, 300001, 1},
      {"3 w", 54, 300001, 300001, 2 * w - 2},
      {"300000 goes on", w + 1, 300001, 300000, 0},
      {"300000 does not start", w + 1, 300000, 300001, std::nullopt},
      {"300000 does not start, the next does", w + 2, 300000, 300001, 1},
      {"no start where it would fit", w + 3, 300001, 300000, std::nullopt},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    Counts samples(100, 299999);
    samples.resize(100 + row.length, row.others);
    samples.at(100) = row.first;
    const std::size_t end = samples.size();
    samples.resize(200 + end, 0);
    EXPECT_EQ(find_time_mark(samples, w), row.place ? 100 + *row.place : samples.size());
    samples.resize(end);
    EXPECT_EQ(find_time_mark(samples, w), samples.size()) << "at the channel's end";
  }
}

// A search that starts anew within every run would not live to see the end of this.
TEST(find_time_mark, passes_a_stuck_channel_in_linear_time) {
  const std::size_t size = 1000000;
  Counts samples(size, 8388607);
  EXPECT_EQ(find_time_mark(samples, 18), size);
  samples.back() = 0;
  EXPECT_EQ(find_time_mark(samples, 18), size - 21);
  samples.assign(size, 300000);
  samples.front() = 300001;
  samples.back() = 0;
  EXPECT_EQ(find_time_mark(samples, 18), size);
}

/// A four-channel file at two samples a second from 06:00, whose marks start at these seconds.
Ko24File marked_file(const std::vector<double>& marks, const Ko24Fields& changed = {}) {
  Ko24Fields fields = changed;
  fields.n_channels = 4;
  fields.sampling_frequency = 2.0;
  const std::size_t n_samples = 16000;
  Counts channel(n_samples, 0);
  for (const double mark : marks) {
    const auto first = static_cast<std::size_t>(mark * 2.0);
    std::fill_n(channel.begin() + static_cast<std::ptrdiff_t>(first), 3, 400000);
  }
  const Counts quiet(n_samples, 0);
  Ko24File file(fields);
  file.add_channels({quiet, quiet, quiet, channel});
  return file;
}

TEST_F(korla24, nudges_marks_to_minutes_5_and_35) {
  struct Row {
    std::string name;
    std::vector<double> marks;  // seconds past 06:00
    double nudge;
  };

  const std::vector<Row> table = {
      {"none", {}, 0.0},
      {"one, in time", {300.0}, 0.0},
      {"one, late", {301.5}, -1.5},
      {"one, early", {120.0}, 180.0},
      {"one, in the next hour", {3600.0 + 302.0}, -2.0},
      {"one, of minute 35: taken for minute 5, intended", {2100.0}, -1800.0},
      {"two, in time", {300.0, 2100.0}, 0.0},
      {"two, late", {302.5, 2102.5}, -2.5},
      {"1800.5 s apart", {300.0, 2100.5}, -0.25},
      {"1801 s apart", {300.5, 2101.5}, -1.0},
      {"1799 s apart", {300.0, 2099.0}, 0.5},
      {"1801.5 s apart", {300.5, 2102.0}, 0.0},
      {"1798.5 s apart", {300.5, 2099.0}, 0.0},
      {"minute 35 and the next minute 5", {2101.0, 3901.0}, -1.0},
      {"a third one does not matter", {301.0, 2101.0, 2500.0}, -1.0},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const KORLA24 series = read(marked_file(row.marks, {.start_nsec = 0}), true);
    ASSERT_EQ(series.times.size(), 16000U);
    EXPECT_EQ(series.times.front() - 1456812000.0, row.nudge);
    EXPECT_EQ(series.times.back() - series.times.front(), 15999 / 2.0);
  }
}

TEST_F(korla24, counts_the_starts_fraction_when_it_nudges) {
  const KORLA24 series = read(marked_file({301.5}, {.start_nsec = 250000000}), true);
  EXPECT_EQ(series.times.front(), 1456812000.25 - 1.75);
}

// The second mark is sought from w behind the first one's start, inside its pulse.
TEST_F(korla24, does_not_take_the_rest_of_a_mark_for_the_second) {
  Ko24File file = marked_file({});
  Counts channel(16000, 0);
  std::fill_n(channel.begin() + 602, 4, 400000);  // 301 s, the longest mark there is
  const Counts quiet(16000, 0);
  file.truncate(file.data_offset() + 8).add_channels({quiet, quiet, quiet, channel});
  EXPECT_EQ(read(file, true).times.front(), 1456812000.0 - 1.0);
}

TEST_F(korla24, says_in_the_trace_how_it_nudged) {
  struct Row {
    std::string name;
    std::vector<double> marks;
    std::vector<std::string> expected;
  };

  const std::string line = "Debug:../../../src/korla24\\([0-9]+\\) ";
  const std::string first = line + "Time @ 5 min mark1: 2016-03-01 06:05:01 [A-Z]+\n";
  const std::vector<Row> table = {
      {"no mark", {}, {line + "nudge enabled\n"}},
      {"one", {301.5}, {line + "nudge enabled\n", first, line + "nudge = -1.5\n"}},
      {"two",
       {301.5, 2101.0},
       {line + "nudge enabled\n", first, line + "Time @ 35 min mark2: 2016-03-01 06:35:01 [A-Z]+\n",
        line + "nudge = -1.25\n"}},
      {"two too far apart",
       {301.5, 2103.0},
       {line + "nudge enabled\n", first, line + "Time @ 35 min mark2: 2016-03-01 06:35:03 [A-Z]+\n",
        line + "Time marks not 1800 seconds apart: 1801.5\n", line + "Nudging aborted\n"}},
  };
  KorLa::debug = true;
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const Ko24File file = marked_file(row.marks);
    support::CapturedStderr captured;
    read(file, true);
    std::string pattern;
    for (const std::string& expected : row.expected) {
      pattern += expected;
    }
    EXPECT_THAT(captured.take(), MatchesRegex(pattern));
  }
}

TEST_F(korla24, nudges_only_when_told_to_and_with_four_channels) {
  Ko24Fields three{.n_channels = 3, .sampling_frequency = 2.0};
  Counts marks(1000, 0);
  std::fill_n(marks.begin() + 602, 3, 400000);
  Ko24File three_channels(three);
  three_channels.add_channels({marks, marks, marks});
  Ko24Fields five = three;
  five.n_channels = 5;
  Ko24File five_channels(five);
  five_channels.add_channels({marks, marks, marks, marks, marks});

  struct Row {
    std::string name;
    Ko24File file;
    bool nudge;
  };

  const std::vector<Row> table = {
      {"not told to", marked_file({301.0}), false},
      {"three channels", three_channels, true},
      {"five channels", five_channels, true},
  };
  KorLa::debug = true;
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    support::CapturedStderr captured;
    const KORLA24 series = read(row.file, row.nudge);
    EXPECT_THAT(captured.take(), MatchesRegex("Debug:../../../src/korla24\\([0-9]+\\) No nudge\n"));
    EXPECT_EQ(series.times.front(), 1456812000.0);
  }
}

// Frequencies that no recorder has must not send the search astray.
TEST_F(korla24, survives_any_frequency) {
  for (const double frequency : {0.0, -18.0, 1e-3, 0.4, 1e9, 1e300, HUGE_VAL, std::nan("")}) {
    SCOPED_TRACE(frequency);
    Ko24File file({.n_channels = 4, .sampling_frequency = frequency});
    const Counts channel = {0, 400000, 400000, 0, 400000, 0, 0};
    file.add_channels({channel, channel, channel, channel});
    EXPECT_EQ(read(file, true).times.size(), channel.size());
  }
}

}  // namespace
