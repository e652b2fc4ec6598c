// TM4 files: good ones, broken ones, their times and gaps.

#include "korla/korla_tm4.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::KORLA_TM4;
using support::bytes_of;
using support::tm4_lines;
using Channels = std::vector<std::vector<std::int32_t>>;

constexpr std::uint32_t noon = 1456833600;  // on 1 March 2016
const std::string at_noon = " station: r date: 2016-03-01 time: 12:00:00";

class korla_tm4 : public FreshState {
 protected:
  /// Reads a file of 2016, its comment from behind the gain on. `said` has PATH for its path.
  std::unique_ptr<KORLA_TM4> read(const std::string& lines, const std::string& comment = at_noon,
                                  const std::string& name = "a.tm4") {
    path = folder.write(name, "!S512Tidserier sampfrek: 18 gain: 1" + comment + "\n" + lines);
    support::set_change_time(path, noon);
    support::CapturedStderr captured;
    auto series = std::make_unique<KORLA_TM4>(path, 0);
    said = std::regex_replace(captured.take(), std::regex(path), "PATH");
    return series;
  }

  support::TemporaryFolder folder;
  std::string path = folder / "a.tm4";
  std::string said;
};

TEST_F(korla_tm4, takes_channels_and_frequency_from_the_lines) {
  const auto expect = [&](const std::string& lines, double frequency, const Channels& samples) {
    SCOPED_TRACE(lines);
    const auto series = read(lines);
    EXPECT_EQ(double{series->header.sampling_frequency}, frequency);
    EXPECT_EQ(series->samples, samples);
    EXPECT_EQ(series->times.size(), samples.empty() ? 0 : samples[0].size());
    EXPECT_EQ(series->times.empty() ? noon : series->times[0], noon);
  };
  expect("0 1 2 3 4\r\n0.5 5 6 7 8\r\n", 2, {{1, 5}, {2, 6}, {3, 7}, {4, 8}});
  expect(" \t0\t1  2 3 \n\n \t\n 0.5 +4 -5 6", 2, {{1, 4}, {2, -5}, {3, 6}});
  expect("5 0.5 -0.5\n6 1.49 2147483647.4\n", 1, {{1, 1}, {-1, INT32_MAX}});
  expect("5 1e3 -2147483648\n", -1, {{1000}, {INT32_MIN}});
  expect("", -1, {});
  expect("0 1 2 3\n0 4 5 6\n", HUGE_VAL, {{1, 4}, {2, 5}, {3, 6}});
  EXPECT_EQ(read(tm4_lines(0, 0, 5, 10, 126))->samples.at(125).at(4), 165);
}

TEST_F(korla_tm4, presets_the_header) {
  const auto series = read(tm4_lines(3, 0, 10, 8));
  const KorLa::SeriesHeader expected{.magic = {'k', 'o', '2', '4'},
                                     .version = 1,
                                     .start_sec = noon,
                                     .sample_code = 7,
                                     .n_channels = 3,
                                     .sampling_frequency = 8,
                                     .bits_per_sample = 32,
                                     .bytes_per_sample = 4};
  EXPECT_EQ(bytes_of(series->header), bytes_of(expected));
  const KorLa::ChannelDescriptor channel = {{'c', 'h', 'a', 'n'}, 2, 1, -1, 1, 1};
  EXPECT_EQ(bytes_of(series->channels.at(2)), bytes_of(channel));
}

TEST_F(korla_tm4, knows_its_station_and_start) {
  const auto expect = [&](const std::string& file, const std::string& comment, double start,
                          int station, const std::string& warning = {}) {
    SCOPED_TRACE(file + comment);
    const auto series = read(tm4_lines(1000.5, 0, 9, 8), comment, file);
    EXPECT_EQ(said, warning);
    EXPECT_EQ(series->start_time(), start);
    EXPECT_EQ(series->times.at(8), start + 1);
    EXPECT_EQ(int{series->header.station}, station);
    const bool from_path = comment.find("date") == std::string::npos && file != "a.tm4";
    EXPECT_EQ(std::bit_cast<std::uint64_t>(series->header.extra_time), from_path ? noon : 0);
  };
  const std::string date = " date: 2016-03-01";
  expect("t2012010203.dat", " station: fjallby" + date + " time: 12:00:07", noon + 7, 4);
  expect("a.tm4", " station: r" + date, noon - 43200, 0);
  expect("t2016030112.dat", "", noon, 1);
  expect("x2016030112.dat", "", noon, 254);
  expect("t6030112.dat", "", noon, 1, "Warning: year parsed from filename, 2016, is uncertain\n");
  expect("t2016030112.dat", " station: f", noon, 4);
  expect("a.tm4", "", 1000.5, 254);
  expect("a.tm4", " station: R" + date, noon - 43200, 255, "WARNING: Unknown station: <R>\n");

  path = folder.write("a.tm4", "!S512\n" + tm4_lines(7, 0, 9, 8));
  support::CapturedStderr captured;
  EXPECT_EQ(KORLA_TM4(path, 0).times.at(8), 8);
  EXPECT_TRUE(captured.take().starts_with("parse_comment: Invalid comment line\n"));
}

TEST_F(korla_tm4, goes_on_from_the_column_behind_gaps) {
  const std::string one = "TIMEGAP in data\n";
  const std::string back = "WARNING: PATH: the time goes back at line 4, samples count on\n";
  const auto expect = [&](const std::vector<std::string>& column, const std::vector<double>& times,
                          const std::string& warning = {}) {
    std::string lines;
    for (const std::string& time : column) {
      lines += time + (time[0] == '!' ? "\n" : " 1 2 3\n");
    }
    SCOPED_TRACE(lines);
    EXPECT_EQ(read(lines, " station: r date: 1970-01-01 time: 00:00:00")->times, times);
    EXPECT_EQ(said, warning);
  };
  expect({"7200.5", "7201", "7201.5"}, {0, 0.5, 1});
  expect({"0", "0.5", "1.01", "1.49"}, {0, 0.5, 1, 1.5});
  expect({"0", "0.5", "1.25", "1.75"}, {0, 0.5, 1, 1.5});
  expect({"0", "0.5", "1.28125", "2"}, {0, 0.5, 1.28125, 1.78125}, one);
  expect({"3", "3.5", "5", "9"}, {0, 0.5, 2, 6}, "Warning: TIMEGAPs in data\n");
  expect({"0", "0.5", "!", "1.25"}, {0, 0.5, 1.25}, one);
  expect({"0", "0.5", "! TIMEGAP", "!", "1"}, {0, 0.5, 1}, one);
  expect({"!", "0", "0.5"}, {0, 0.5});
  expect({"0", "0.5", "0.25", "0.2"}, {0, 0.5, 1, 1.5}, back);
}

TEST_F(korla_tm4, refuses_a_malformed_line_by_file_and_number) {
  const auto expect = [&](int line, const std::string& what, const std::string& lines) {
    EXPECT_EQ(support::failure([&] { read(lines); }),
              fmt::format("{}: line {}: {}\n", path, line, what))
        << lines.substr(0, 99);
  };
  const std::string values = "not a time and a value for each channel";
  const std::string range = "a value is out of range";
  const std::string good = "0 1 2 3\n1 4 5 6\n";
  expect(4, values, good + "2 7 8\n3 1 2 3\n");
  expect(4, values, good + "2 7 8 9 9\n");
  expect(2, values, tm4_lines(0, 0, 1, 8, 127));
  expect(4, values, good + "2 7 8 9 x\n");
  expect(2, values, "0\n1 2 3 4\n");
  expect(5, values, "0 1 2 3\n\n!\n1 4\n");
  expect(4, "the time is no number", good + "nan 7 8 9\n");
  expect(4, range, good + "2 7 2147483648 9\n");
  expect(4, range, good + "2 -2147483649 8 9\n");
  expect(4, range, good + "2 7 8 nan\n");
  expect(4, "too long", good + "2 7 8 9" + std::string(51192, ' ') + "\n");
  path = folder / "none";
  EXPECT_EQ(support::failure([&] { KORLA_TM4(path, 0); }), "Can't open " + path + "\n");
}

TEST_F(korla_tm4, leaves_out_a_last_line_that_is_cut_short) {
  for (const std::string cut : {"2", "2 7 8", "2 7 -", "2 7 8 9e", "2 7 8 9 ?"}) {
    SCOPED_TRACE(cut);
    EXPECT_EQ(read("0 1 2 3\n1 4 5 6\n" + cut)->samples, (Channels{{1, 4}, {2, 5}, {3, 6}}));
    EXPECT_EQ(said, "WARNING: PATH: line 4 is cut short and left out\n");
  }
}

}  // namespace
