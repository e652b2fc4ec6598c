// ko24 files: good ones, broken ones, time marks.

#include "korla/korla24.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "korla/trace.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::find_time_mark;
using KorLa::KORLA24;
using support::bytes_of;
using support::Ko24File;
using testing::ElementsAre;
using testing::MatchesRegex;
using Counts = std::vector<std::int32_t>;

class korla24 : public FreshState {
 protected:
  /// Writes a file and reads it.
  KORLA24 read(const Ko24File& file, bool nudge = false) const {
    return {folder.write("series.ko24", file.bytes()), nudge};
  }

  /// What reading a file ends with.
  std::string failure(const Ko24File& file) const {
    return support::failure([&] { read(file); });
  }

  support::TemporaryFolder folder;
};

TEST_F(korla24, reads_head_channels_and_samples_of_every_version) {
  const std::array<std::uint8_t, 8> extra = {1, 2, 3, 4, 5, 6, 7, 8};
  for (const std::uint8_t version : {0, 1, 2}) {
    SCOPED_TRACE(int{version});
    // Neither of the two sizes is what the samples have.
    Ko24File file({version, 8, 777, 0xfedcba98, 125000000, 0x01020304, 2, 99, 12.5, 8, 1, extra});
    file.add_values({1, -1, 8388607, -8388608, 2147483647, INT32_MIN});
    const KORLA24 series = read(file);
    std::string head = file.bytes().substr(0, file.channel_table_offset());
    head.resize(40);
    head[6] = static_cast<char>(head[6] + (version == 1 ? 4 : 0));  // the header's size
    EXPECT_EQ(bytes_of(series.header), head);
    EXPECT_EQ(int{series.header.station}, 8);
    EXPECT_EQ(int{series.header.header_size}, version == 1 ? 781 : 777);
    ASSERT_EQ(series.channels.size(), 2U);
    EXPECT_EQ(bytes_of(series.channels[1]), file.bytes().substr(file.descriptor_offset(1), 32));
    EXPECT_EQ(series.scaled_value(3, series.channels[1]), 3 * 10.0);
    EXPECT_THAT(series.samples,
                ElementsAre(Counts{1, 8388607, 2147483647}, Counts{-1, -8388608, INT32_MIN}));
    const double start = 0xfedcba98 + 0.125;
    EXPECT_THAT(series.times, ElementsAre(start, start + 0.08, start + 0.16));
  }
}

TEST_F(korla24, keeps_values_of_a_last_sample_that_is_not_whole) {
  const auto expect = [&](const Counts& values, const std::string& tail, std::size_t n_times,
                          const std::vector<Counts>& samples) {
    SCOPED_TRACE(testing::PrintToString(values));
    Ko24File file({.n_channels = 3});
    file.add_values(values).set_bytes(file.bytes().size(), tail);
    const KORLA24 series = read(file);
    EXPECT_EQ(series.samples, samples);
    EXPECT_EQ(series.times.size(), n_times);
  };
  expect({}, "xyz", 0, {{}, {}, {}});
  expect({1}, "", 0, {{1}, {}, {}});
  expect({1, 2, 3}, "xyz", 1, {{1}, {2}, {3}});
  expect({1, 2, 3, 4, 5}, "x", 1, {{1, 4}, {2, 5}, {3}});
  expect({1, 2, 3, 4, 5, 6}, "", 2, {{1, 4}, {2, 5}, {3, 6}});
}

TEST_F(korla24, names_what_is_wrong_with_a_file) {
  const Ko24File good({.version = 1, .n_channels = 3});
  const std::size_t table = good.channel_table_offset();
  const std::size_t data = good.data_offset();
  const auto with = [&](std::size_t place, const std::string& bytes) {
    return failure(Ko24File(good).set_bytes(place, bytes));
  };
  EXPECT_EQ(with(table + 4, "\xff\xff\xff\xff"), "nothing");
  EXPECT_EQ(with(data + 4, "\xff\xff\xff\xff"), "nothing");
  EXPECT_EQ(with(0, "RIFF\x09"), "This is not a valid ko24 file\n");
  EXPECT_EQ(with(3, "5"), "This is not a valid ko24 file\n");
  EXPECT_EQ(with(4, "\x03"), "Unknown version (3) of an ko24 file\n");
  EXPECT_EQ(with(4, "\x02"), "Unknown magic chns\n");  // a longer head
  EXPECT_EQ(with(table, "chnS"), "Unknown magic chns\n");
  EXPECT_EQ(with(good.descriptor_offset(0), "C"), "Unknown magic chan\n");
  EXPECT_EQ(with(good.descriptor_offset(2), "chaN"), "Unknown magic chan\n");
  EXPECT_EQ(with(20, "\x04"), "Unknown magic chan\n");  // a channel too many
  EXPECT_EQ(with(20, "\x02"), "Unknown magic data\n");  // a channel too few
  EXPECT_EQ(with(data + 3, "A"), "Unknown magic data\n");
  EXPECT_EQ(failure(Ko24File({.n_channels = 0})),
            "No channels in " + (folder / "series.ko24") + " (channel count 0)\n");
  const std::string missing = folder / "missing";
  EXPECT_EQ(support::failure([&] { KORLA24(missing, false); }), "Couldn't open " + missing + "\n");
}

// What is missing counts as zero, so that the first tag behind the cut is the one that fails.
TEST_F(korla24, names_the_first_tag_that_a_cut_file_lacks) {
  for (const std::uint8_t version : {0, 1, 2}) {
    Ko24File whole({.version = version, .n_channels = 2});
    whole.add_values({1, 2});
    for (std::size_t size = 0; size < whole.bytes().size(); ++size) {
      SCOPED_TRACE(testing::Message() << "version " << int{version} << " cut to " << size);
      std::string expected = "nothing";
      if (size < 4) {
        expected = "This is not a valid ko24 file\n";
      } else if (size < whole.channel_table_offset() + 4) {
        expected = "Unknown magic chns\n";
      } else if (size < whole.descriptor_offset(1) + 4) {
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

/// Runs of high and low samples of all lengths around `w`, with values at and beside the level.
Counts random_marks(std::mt19937& random, unsigned w) {
  constexpr std::array<std::int32_t, 3> low = {0, 299999, -400000};
  constexpr std::array<std::int32_t, 5> high = {300000, 300001, 400000, 300000, 8388607};
  Counts samples;
  for (unsigned runs = random() % 6; runs > 0; --runs) {
    for (unsigned i = random() % 4; i > 0; --i) {
      samples.push_back(low.at(random() % 3));
    }
    for (unsigned i = random() % (2 * w + 5); i > 0; --i) {
      samples.push_back(high.at(random() % 5));
    }
  }
  samples.resize(samples.size() + (random() % 4 != 0 ? 1 : 0));
  return samples;
}

TEST(find_time_mark, agrees_with_the_rule_on_random_series) {
  std::mt19937 random(20160301);
  int found = 0;
  int missed = 0;
  int shortened = 0;
  for (unsigned w = 0; w <= 6; ++w) {
    for (int series = 0; series < 4000; ++series) {
      const Counts samples = random_marks(random, w);
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

constexpr double start = 1456812000.5;  // half a second past 06:00 on 1 March 2016

/// A file at two samples a second from `start`, whose last channel has marks of so many samples
/// from these seconds past 06:00 on.
Ko24File marked_file(const std::vector<double>& marks, std::size_t length,
                     std::uint8_t n_channels) {
  Ko24File file({.start_nsec = 500000000, .n_channels = n_channels, .sampling_frequency = 2});
  std::vector<Counts> channels(n_channels, Counts(16000));
  for (const double mark : marks) {
    const auto first = static_cast<std::ptrdiff_t>(mark * 2) - 1;
    std::fill_n(channels.back().begin() + first, length, 400000);
  }
  return file.add_channels(channels);
}

TEST_F(korla24, nudges_marks_to_minutes_5_and_35) {
  struct Row {
    std::string name;
    std::vector<double> marks;  ///< seconds past 06:00
    double nudge;
    std::size_t length = 3;
  };

  const std::vector<Row> table = {
      {"none", {}, 0},
      {"one, late", {301.5}, -1.5},
      {"one, early", {120}, 180},
      {"one, in the next hour", {3602}, 298},
      {"one, of minute 35: taken for minute 5, intended", {2100}, -1800},
      {"two, late", {302.5, 2102.5}, -2.5},
      {"1800.5 s apart", {300, 2100.5}, -0.25},
      {"1801 s apart", {300.5, 2101.5}, -1},
      {"1799 s apart", {300, 2099}, 0.5},
      {"1798.5 s apart", {300.5, 2099}, 0},
      {"minute 35 and the next minute 5", {2101, 3901}, -1},
      {"a third one does not matter", {301, 2101, 2500}, -1},
      {"the rest of a longer mark is no second", {301}, -1, 4},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const KORLA24 series = read(marked_file(row.marks, row.length, 4), true);
    ASSERT_EQ(series.times.size(), 16000U);
    EXPECT_EQ(series.times.front() - start, row.nudge);
    EXPECT_EQ(series.times.back() - series.times.front(), 15999 / 2.0);
  }
}

TEST_F(korla24, nudges_four_channels_when_told_to_and_says_so_in_the_trace) {
  const auto expect = [&](const std::vector<double>& marks, const std::vector<std::string>& said,
                          double shift = 0, bool nudge = true, std::uint8_t n_channels = 4) {
    std::string pattern;
    for (const std::string& line : said) {
      pattern += "Debug:../../../src/korla24\\([0-9]+\\) " + line + "\n";
    }
    const Ko24File file = marked_file(marks, 3, n_channels);
    support::CapturedStderr captured;
    EXPECT_EQ(read(file, nudge).times.front() - start, shift);
    EXPECT_THAT(captured.take(), MatchesRegex(pattern));
  };
  const std::string on = "nudge enabled";
  const std::string first = "Time @ 5 min mark1: 2016-03-01 06:05:01 [A-Z]+";
  const std::string second = "Time @ 35 min mark2: 2016-03-01 06:35:01 [A-Z]+";
  const std::string third = "Time @ 35 min mark2: 2016-03-01 06:35:03 [A-Z]+";
  const std::string far = "Time marks not 1800 seconds apart: 1801.5";
  KorLa::debug = true;
  expect({}, {on});
  expect({301.5}, {on, first, "nudge = -1.5"}, -1.5);
  expect({301.5, 2101}, {on, first, second, "nudge = -1.25"}, -1.25);
  expect({301.5, 2103}, {on, first, third, far, "Nudging aborted"});
  expect({301.5}, {"No nudge"}, 0, false);
  expect({301.5}, {"No nudge"}, 0, true, 3);
  expect({301.5}, {"No nudge"}, 0, true, 5);
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
