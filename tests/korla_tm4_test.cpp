// TM4 files: good ones, broken ones, their times and gaps.

#include "korla/korla_tm4.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::KORLA_TM4;
using support::comment_line;
using support::tm4_lines;
using testing::ElementsAre;

constexpr double day = 1456790400;        // 1 March 2016
constexpr double start = day + 6 * 3600;  // what comment_line says

class korla_tm4 : public testing::Test {
 protected:
  /// Reads a file; `said_` is what was written to the error stream.
  std::unique_ptr<KORLA_TM4> read(const std::string& name, const std::string& bytes,
                                  double name_time = 0) {
    last_path_ = folder_.write(name, bytes);
    support::CapturedStderr captured;
    auto series = std::make_unique<KORLA_TM4>(last_path_, name_time);
    said_ = captured.take();
    return series;
  }

  std::unique_ptr<KORLA_TM4> read_lines(const std::string& lines, double name_time = 0) {
    return read("a.tm4", comment_line('S', 512, 18) + "\n" + lines, name_time);
  }

  support::TemporaryFolder folder_;
  std::string last_path_;
  std::string said_;
};

TEST_F(korla_tm4, takes_channels_and_frequency_from_the_lines) {
  struct Row {
    std::string name;
    std::string lines;
    double frequency;
    std::vector<std::vector<std::int32_t>> samples;
  };

  const std::vector<Row> table = {
      {"three channels",
       "0 1 2 3\n0.125 4 5 6\n0.25 7 8 9\n",
       8,
       {{1, 4, 7}, {2, 5, 8}, {3, 6, 9}}},
      {"four, CR LF", "0 1 2 3 4\r\n0.5 5 6 7 8\r\n", 2, {{1, 5}, {2, 6}, {3, 7}, {4, 8}}},
      {"blanks, tabs, empty lines, no last end",
       " \t0\t1  2 3 \n\n \t\n 0.5 +4 -5 6",
       2,
       {{1, 4}, {2, -5}, {3, 6}}},
      {"fractions are rounded",
       "5 0.5 -0.5 1.49\n6 1e3 2147483647 -2147483648\n",
       1,
       {{1, 1000}, {-1, 2147483647}, {1, INT32_MIN}}},
      {"one line", "0 1 2 3\n", -1, {{1}, {2}, {3}}},
      {"no line", "", -1, {}},
      {"times that stand still", "0 1 2 3\n0 4 5 6\n", HUGE_VAL, {{1, 4}, {2, 5}, {3, 6}}},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const auto series = read_lines(row.lines);
    EXPECT_EQ(double{series->header.sampling_frequency}, row.frequency);
    EXPECT_EQ(series->samples, row.samples);
    EXPECT_EQ(int{series->header.n_channels}, static_cast<int>(row.samples.size()));
    EXPECT_EQ(series->channels.size(), row.samples.size());
    EXPECT_EQ(series->times.size(), row.samples.empty() ? 0 : row.samples[0].size());
    EXPECT_EQ(said_, "");
  }
  const auto wide = read_lines(tm4_lines(0, 0, 5, 10, 126));
  EXPECT_EQ(wide->samples.size(), 126U);
  EXPECT_EQ(wide->samples.at(125), support::placed_samples(125, 0, 5));
}

TEST_F(korla_tm4, presets_the_header) {
  const auto series = read_lines(tm4_lines(3, 0, 10, 8));
  const KorLa::SeriesHeader& header = series->header;
  EXPECT_THAT(header.magic, ElementsAre('k', 'o', '2', '4'));
  EXPECT_EQ(int{header.version}, 1);
  EXPECT_EQ(int{header.station}, 0);
  EXPECT_EQ(std::uint32_t{header.start_sec}, 1456812000U);
  EXPECT_EQ(std::uint32_t{header.sample_code}, 7U);
  EXPECT_EQ(int{header.bits_per_sample}, 32);
  EXPECT_EQ(int{header.bytes_per_sample}, 4);
  ASSERT_EQ(series->channels.size(), 3U);
  EXPECT_THAT(series->channels[2].magic, ElementsAre('c', 'h', 'a', 'n'));
  EXPECT_EQ(int{series->channels[2].index}, 2);
  EXPECT_EQ(series->format_id(), 3);
}

TEST_F(korla_tm4, knows_its_station_and_start) {
  struct Row {
    std::string name;
    std::string file;
    std::string comment;  ///< behind the gain
    double start;
    int station;
    std::string said = {};
  };

  const std::string inferred = "Warning: year parsed from filename, 2016, is uncertain\n";
  const std::vector<Row> table = {
      {"comment", "t2012010203.dat", " station: fjallby date: 2016-03-01 time: 12:00:07",
       day + 12 * 3600 + 7, 4},
      {"comment without time", "a.tm4", " station: r date: 2016-03-01", day, 0},
      {"path", "t2016030112.dat", "", day + 12 * 3600, 1},
      {"path, of no station", "x2016030112.dat", "", day + 12 * 3600, 254},
      {"path, its year inferred", "t6030112.dat", "", day + 12 * 3600, 1, inferred},
      {"station in both", "t2016030112.dat", " station: f", day + 12 * 3600, 4},
      {"nothing: the column", "a.tm4", "", 1000.5, 254},
      {"unknown station", "a.tm4", " station: Rasvik date: 2016-03-01 time: 12:00:00",
       day + 12 * 3600, 255, "WARNING: Unknown station: <Rasvik>\n"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const std::string bytes =
        "!S512Tidserier sampfrek: 18 gain: 1" + row.comment + "\n" + tm4_lines(1000.5, 0, 9, 8);
    const std::string path = folder_.write(row.file, bytes);
    const auto of_2016 = std::filesystem::file_time_type::clock::from_sys(
        std::chrono::sys_seconds(std::chrono::seconds(1456812000)));
    std::filesystem::last_write_time(path, of_2016);
    support::CapturedStderr captured;
    const KORLA_TM4 series(path, 0);
    EXPECT_EQ(captured.take(), row.said);
    EXPECT_EQ(series.start_time(), row.start);
    EXPECT_EQ(series.times.at(0), row.start);
    EXPECT_EQ(series.times.at(8), row.start + 1);
    EXPECT_EQ(int{series.header.station}, row.station);
    std::uint32_t stored = 0;
    std::memcpy(&stored, series.header.extra_time.data(), sizeof stored);
    EXPECT_EQ(stored,
              row.name.starts_with("path") || row.name == "station in both" ? row.start : 0);
  }
}

TEST_F(korla_tm4, is_read_whatever_its_comment_is_worth) {
  const auto series = read("a.tm4", "!S512\n" + tm4_lines(7, 0, 9, 8));
  EXPECT_EQ(said_,
            "parse_comment: Invalid comment line\nCouldn't determine sampling frequency\n"
            "defaulting to 18.0Hz\n");
  EXPECT_EQ(double{series->header.sampling_frequency}, 8.0);
  EXPECT_EQ(series->times.at(0), 7.0);
}

TEST_F(korla_tm4, takes_a_name_time_that_is_less_than_2_s_off) {
  for (const auto& [name_time, expected] :
       std::vector<std::pair<double, double>>{{start + 1.75, start + 1.75},
                                              {start - 1.75, start - 1.75},
                                              {start + 2, start},
                                              {start - 2, start},
                                              {0, start}}) {
    SCOPED_TRACE(name_time - start);
    const auto series = read_lines(tm4_lines(0, 0, 9, 8), name_time);
    EXPECT_EQ(series->times.at(8), expected + 1);
    EXPECT_EQ(series->start_time(), expected);
    std::uint32_t stored = 0;
    std::memcpy(&stored, series->header.extra_time.data(), sizeof stored);
    EXPECT_EQ(stored, expected != start ? std::floor(expected) : 0);
  }
}

TEST_F(korla_tm4, goes_on_from_the_column_behind_gaps) {
  struct Row {
    std::string name;
    std::vector<std::string> times;  ///< "!" for a line that marks a gap
    std::vector<double> expected;    ///< from the start
    std::string said = {};
  };

  const std::string one = "TIMEGAP in data\n";
  const std::string more = "Warning: TIMEGAPs in data\n";
  const std::string back = ": the time goes back at line ";
  const std::vector<Row> table = {
      {"none", {"0", "0.5", "1", "1.5"}, {0, 0.5, 1, 1.5}},
      {"a column that starts anywhere", {"7200.5", "7201", "7201.5"}, {0, 0.5, 1}},
      {"times that are a little off", {"0", "0.5", "1.01", "1.49"}, {0, 0.5, 1, 1.5}},
      {"one and a half intervals", {"0", "0.5", "1.25", "1.75"}, {0, 0.5, 1, 1.5}},
      {"two", {"0", "0.5", "1.5", "2"}, {0, 0.5, 1.5, 2}, one},
      {"a day", {"0", "0.5", "86401", "86401.5"}, {0, 0.5, 86401, 86401.5}, one},
      {"two gaps", {"3", "3.5", "5", "5.5", "9", "9.5"}, {0, 0.5, 2, 2.5, 6, 6.5}, more},
      {"a mark", {"0", "0.5", "!", "1.5"}, {0, 0.5, 1.5}, one},
      {"a mark where nothing is lost", {"0", "0.5", "! TIMEGAP", "!", "1"}, {0, 0.5, 1}, one},
      {"a mark before the first line", {"!", "0", "0.5"}, {0, 0.5}},
      {"back", {"0", "0.5", "0.25", "0.75"}, {0, 0.5, 1, 1.5}, back + "4"},
      {"back twice: said once", {"0", "0.5", "0.25", "0.2"}, {0, 0.5, 1, 1.5}, back + "4"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    std::string lines;
    for (const std::string& time : row.times) {
      lines += time + (time[0] == '!' ? "\n" : " 1 2 3\n");
    }
    const auto series = read_lines(lines);
    EXPECT_EQ(said_, row.said.starts_with(back)
                         ? "WARNING: " + last_path_ + row.said + ", samples count on\n"
                         : row.said);
    ASSERT_EQ(series->times.size(), row.expected.size());
    for (std::size_t i = 0; i < row.expected.size(); ++i) {
      EXPECT_EQ(series->times[i] - start, row.expected[i]) << "sample " << i;
    }
  }
}

TEST_F(korla_tm4, refuses_a_malformed_line_by_file_and_number) {
  struct Row {
    std::string name;
    std::string lines;
    int number;
    std::string what;
  };

  const std::string values = "not a time and a value for each channel";
  const std::string good = "0 1 2 3\n1 4 5 6\n";
  std::string many;
  for (int i = 0; i < 200; ++i) {
    many += " 1";
  }
  const std::vector<Row> table = {
      {"too few values", good + "2 7 8\n3 1 2 3\n", 4, values},
      {"too many", good + "2 7 8 9 9\n", 4, values},
      {"more than there are channels", good + "2" + many + "\n", 4, values},
      {"a word", good + "2 7 x 9\n", 4, values},
      {"a word behind", good + "2 7 8 9 x\n", 4, values},
      {"a letter at a number's end", good + "2 7 8 9x\n", 4, values},
      {"a line of words", "words\n" + good, 2, values},
      {"a time alone in the first line", "0\n1 2 3 4\n", 2, values},
      {"a word in the first line", "0 1 x 3\n", 2, values},
      {"a comma", good + "2,5 7 8 9\n", 4, values},
      {"counting empty lines and marks", "0 1 2 3\n\n!\n1 4\n", 5, values},
      {"a time that is none", good + "nan 7 8 9\n", 4, "the time is no number"},
      {"an infinite time", good + "inf 7 8 9\n", 4, "the time is no number"},
      {"a value beyond 32 bits", good + "2 7 2147483648 9\n", 4, "a value is out of range"},
      {"below", good + "2 -2147483649 8 9\n", 4, "a value is out of range"},
      {"a value that is none", good + "2 7 8 nan\n", 4, "a value is out of range"},
      {"a line that is too long", good + "2 7 8 9" + std::string(51192, ' ') + "\n", 4, "too long"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    try {
      read_lines(row.lines);
      ADD_FAILURE() << "read all the same";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(),
                last_path_ + ": line " + std::to_string(row.number) + ": " + row.what + "\n");
    }
  }
  EXPECT_THROW(KORLA_TM4(folder_ / "none", 0), std::runtime_error);
}

TEST_F(korla_tm4, leaves_out_a_last_line_that_is_cut_short) {
  for (const std::string cut : {"2", "2 ", "2 7 8", "2 7 -", "2 7 8 9e", "2 7 8 9 ?"}) {
    SCOPED_TRACE(cut);
    const auto series = read_lines("0 1 2 3\n1 4 5 6\n" + cut);
    EXPECT_EQ(said_, "WARNING: " + last_path_ + ": line 4 is cut short and left out\n");
    EXPECT_THAT(series->samples.at(1), ElementsAre(2, 5));
    EXPECT_EQ(series->times.size(), 2U);
  }
}

}  // namespace
