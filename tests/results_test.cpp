// The text result files.

#include "src/results.h"

#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

namespace {

using tavrik::HistogramBin;
using tavrik::ResultRecord;
using tavrik::settings;
using tavrik::WindowValues;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

/// A window with a value of its own in every field.
ResultRecord some_record() {
  ResultRecord r;
  r.time = 1456812000.5;  // 06:00 of its day
  r.az = 123.45678901;
  r.vel = 341.5;
  r.quality = 1234567.0;
  r.amp = 0.0000125;
  r.cprod = 0.5;
  r.slope = -2.25;
  r.ent0 = 0.1, r.ent1 = 0.2, r.ent2 = 0.3;
  r.b12_13 = 1, r.b12_23 = 2, r.b13_23 = 3;
  r.a12_13 = 4, r.a12_23 = 5, r.a13_23 = 6e-6;
  r.v12 = 7, r.v13 = 8, r.v23 = 98765432;
  r.p12 = 10, r.p13 = 11, r.p23 = 12.3456789;
  return r;
}

const WindowValues some_values = {{100.125, 101, 102},
                                  {0.25, 0.5, 1},
                                  {-1.5, 2, 15.9999999},
                                  {{{0.1, 1.5, 2}, {0.2, 2.5, 3}, {0.3, 3.5, 4}}},
                                  {{{1e6, 1, 4, 0.5}, {2e6, 2, 5, 0.6}, {3e6, 3, 6, 0.7}}}};
const tavrik::PairSeries some_series = {{{0.5, 1, 0.25}, {0, nan, 0}, {1e-7, -1, 1234567}}};

/// Result files of a data file in a folder of its own.
class results : public FreshState {
 protected:
  results() {
    settings.write_az = settings.partial = settings.lltmp = settings.crn = true;
    settings.cstep = 64;
  }

  /// Writes some windows as a run would; returns what was said.
  std::string write(const std::vector<ResultRecord>& records,
                    const WindowValues& values = some_values,
                    const tavrik::PairSeries& series = some_series) {
    support::CapturedStderr captured;
    tavrik::open_result_files({folder / "rec.ko24", "tolmar", 1456812000.25});
    for (const ResultRecord& record : records) {
      tavrik::write_window(record, values, series, 16.0);
    }
    tavrik::close_result_files();
    return captured.take();
  }

  /// Contents by extension, of all files that there are.
  std::map<std::string, std::string> files() const {
    std::map<std::string, std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = entry.path().filename().string();
      result[name.substr(name.find('.') + 1)] = folder.read(name);
    }
    return result;
  }

  support::TemporaryFolder folder;
};

TEST_F(results, hold_one_line_for_each_window) {
  settings.entropy = settings.acr = true;
  EXPECT_EQ(write({some_record()}), "");
  const std::map<std::string, std::string> expected = {
      {"az",
       "0 0 1456812000.500000 123.456789 341.500000 100.125000 101.000000 102.000000 0.250000 "
       "0.500000 1.000000 -1.500000 2.000000 16.000000 -2.250000\n"},
      {"caz", "360.0083 123.457 341.5 1.25e-05 0.5 1.23457e+06\n"},
      {"part", "2.42802e+07 1 2 3 4 5 6e-06 7 8 9.87654e+07\n"},
      {"lltmp",
       "0 0 1.45681e+09 123.457 341.5 100.125 101 102 0.25 0.5 1 -1.5 2 16 -2.25 10 11 12.3457\n"},
      {"cre", "0 0 1456812000.500000 0.200000 0.100000 0.300000\n"},
      {"crs",
       "0 0 1456812000.500000 0.100000 1.500000 2.000000 0.200000 2.500000 3.000000 0.300000 "
       "3.500000 4.000000\n"},
      {"acr",
       "0 0 1456812000.500000 1000000.000000 1.000000 4.000000 0.500000 2000000.000000 2.000000 "
       "5.000000 0.600000 3000000.000000 3.000000 6.000000 0.700000\n"},
      {"crn", "2.42802e+07 0.5 1 0.25\n2.42802e+07 0 nan 0\n2.42802e+07 1e-07 -1 1.23457e+06\n"},
  };
  EXPECT_EQ(files(), expected);
}

TEST_F(results, are_those_that_the_settings_ask_for) {
  for (const std::string wanted : {"", "az caz ", "crn ", "az caz part ", "az caz lltmp "}) {
    SCOPED_TRACE(wanted);
    for (const auto& [extension, contents] : files()) {
      std::filesystem::remove(folder / ("rec." + extension));
    }
    const auto has = [&wanted](const char* name) { return wanted.find(name) != std::string::npos; };
    settings.write_az = has("az");
    settings.partial = has("part") || has("crn");  // nothing without az
    settings.lltmp = has("lltmp") || has("crn");
    settings.crn = has("crn");
    write({some_record()});
    std::string found;
    for (const auto& [extension, contents] : files()) {
      EXPECT_NE(contents, "");
      found += extension + " ";
    }
    EXPECT_EQ(found, wanted);
  }
}

TEST_F(results, replace_nan_and_say_so_for_each) {
  ResultRecord r = some_record();
  r.az = std::copysign(nan, -1.0);  // az, caz, lltmp
  r.v13 = nan;                      // part
  r.p13 = -nan;                     // lltmp, unfiltered
  const std::string warning = "Warning: encountered a Nan\n";
  EXPECT_EQ(write({r}), warning + warning + warning + warning);
  auto found = files();
  EXPECT_THAT(found["az"], testing::StartsWith("0 0 1456812000.500000 0.000000 341.500000 "));
  EXPECT_THAT(found["caz"], testing::StartsWith("360.0083 0 341.5 "));
  EXPECT_THAT(found["part"], testing::EndsWith(" 7 0 9.87654e+07\n"));
  EXPECT_THAT(found["lltmp"], testing::StartsWith("0 0 1.45681e+09 0 341.5 "));
  EXPECT_THAT(found["lltmp"], testing::EndsWith(" -2.25 10 nan 12.3457\n"));

  settings.nan_handler = tavrik::keep_nan;
  EXPECT_EQ(write({r}), "");
  found = files();
  EXPECT_THAT(found["az"], testing::StartsWith("0 0 1456812000.500000 nan 341.500000 "));
  EXPECT_THAT(found["caz"], testing::StartsWith("360.0083 nan 341.5 "));
  EXPECT_THAT(found["part"], testing::EndsWith(" 7 nan 9.87654e+07\n"));
  EXPECT_THAT(found["lltmp"], testing::StartsWith("0 0 1.45681e+09 nan 341.5 "));
}

TEST_F(results, show_the_middle_of_the_step_when_asked) {
  settings.center_time = true;  // 64 samples at 16 Hz
  write({some_record()});
  auto found = files();
  EXPECT_THAT(found["az"], testing::StartsWith("0 0 1456812002.500000 "));
  EXPECT_THAT(found["caz"], testing::StartsWith("360.0417 "));
}

TEST_F(results, start_with_a_header_when_asked) {
  for (const bool center : {false, true}) {
    SCOPED_TRACE(center);
    settings.comment = true;
    settings.center_time = center;
    write({});
    const std::string header =
        center ? "# tolmar 1.45681e+09 \"Center time adjusted\"\n" : "# tolmar 1.45681e+09\n";
    const std::map<std::string, std::string> expected = {
        {"az", header}, {"caz", header}, {"part", ""}, {"lltmp", ""}, {"crn", ""}};
    EXPECT_EQ(files(), expected);
  }
}

TEST_F(results, wrap_the_time_of_day_in_caz_alone) {
  const std::tuple<double, const char*, const char*> table[] = {
      {0, "0 0 0.000000 ", "0.0000 "},
      {86399, "0 0 86399.000000 ", "1439.9833 "},
      {86400, "0 0 86400.000000 ", "0.0000 "}};
  for (const auto& [time, az, caz] : table) {
    SCOPED_TRACE(time);
    ResultRecord record = some_record();
    record.time = time;
    write({record});
    auto found = files();
    EXPECT_THAT(found["az"], testing::StartsWith(az));
    EXPECT_THAT(found["caz"], testing::StartsWith(caz));
  }
}

TEST_F(results, have_room_for_the_largest_numbers) {
  constexpr double most = std::numeric_limits<double>::max();
  const WindowValues values = {{-most, -most, -most}, {-most, -most, -most}, {-most, -most, -most}};
  ResultRecord record = some_record();
  record.az = record.vel = record.slope = record.time = -most;
  settings.center_time = false;
  constexpr int windows = 300;  // some megabytes, many times the buffer
  EXPECT_EQ(write(std::vector(windows, record), values), "");
  std::istringstream lines(files()["az"]);
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    ++count;
    ASSERT_EQ(line.size(), 3 + 13 * (1 + 1 + 309 + 7));
    std::istringstream fields(line.substr(4));
    for (std::string field; fields >> field;) {
      ASSERT_EQ(std::stod(field), -most);
    }
  }
  EXPECT_EQ(count, windows);
}

TEST_F(results, hold_one_line_for_each_passage) {
  settings.comment = settings.center_time = true;
  const tavrik::Passage passage = {1000, 12, 350, 20.5, 30.5, 2.5, 340, nan};
  support::CapturedStderr captured;
  tavrik::write_passages({folder / "rec.ko24", "tolmar", 1000}, std::vector{passage, passage}, 0.5);
  tavrik::close_result_files();
  EXPECT_EQ(captured.take(), "Warning: encountered a Nan\nWarning: encountered a Nan\n");
  const std::string line =
      "1000.500000 12.000000 350.000000 20.500000 30.500000 2.500000 340.000000 0.000000\n";
  EXPECT_EQ(files()["vaz"], "# tolmar 1000 \"Center time adjusted\"\n" + line + line);
}

TEST(result_path, replaces_the_extension_of_the_last_component) {
  const std::map<std::string, std::string> table = {{"rec.ko24", "rec.az"},
                                                    {"rec", "rec.az"},
                                                    {"a.b.c", "a.b.az"},
                                                    {"set.one/rec", "set.one/rec.az"},
                                                    {"/a/b.c/../d", "/a/b.c/../d.az"},
                                                    {"../rec", "../rec.az"},
                                                    {"rec.", "rec.az"}};
  for (const auto& [path, expected] : table) {
    EXPECT_EQ(tavrik::result_path(path, "az"), expected);
  }
}

TEST_F(results, do_without_a_file_that_can_not_be_opened) {
  std::filesystem::create_directory(folder / "rec.az");
  EXPECT_EQ(write({some_record()}), "Can't open " + (folder / "rec.az") + "\n");
  EXPECT_EQ(folder.read("rec.caz").substr(0, 8), "360.0083");
  EXPECT_FALSE(tavrik::result_state.write_failed);
}

TEST_F(results, do_without_a_file_that_can_not_be_written) {
  std::filesystem::create_symlink("/dev/full", folder / "rec.az");
  EXPECT_EQ(write(std::vector(2000, some_record())), "Can't write " + (folder / "rec.az") + "\n");
  const std::string caz = folder.read("rec.caz");
  EXPECT_EQ(std::count(caz.begin(), caz.end(), '\n'), 2000);
  EXPECT_TRUE(tavrik::result_state.write_failed);
}

TEST_F(results, replace_older_ones_but_never_an_input) {
  folder.write("rec.caz", std::string(1000, 'x'));
  folder.write("rec.az", "data");
  folder.write("coordinates", "places");
  std::filesystem::create_hard_link(folder / "coordinates", folder / "rec.part");
  std::filesystem::create_symlink(folder / "coordinates", folder / "rec.lltmp");
  tavrik::protect_input(folder / "rec.az");
  tavrik::protect_input(folder / "coordinates");
  tavrik::protect_input(folder / "missing");
  EXPECT_EQ(write({some_record()}), "Can't open " + (folder / "rec.az") + "\nCan't open " +
                                        (folder / "rec.part") + "\nCan't open " +
                                        (folder / "rec.lltmp") + "\n");
  EXPECT_EQ(folder.read("rec.az"), "data");
  EXPECT_EQ(folder.read("coordinates"), "places");
  EXPECT_EQ(folder.read("rec.caz"), "360.0083 123.457 341.5 1.25e-05 0.5 1.23457e+06\n");
}

ResultRecord histogram_record(double az, double cmax, double vel2) {
  ResultRecord r;
  r.az = az;
  r.cmax = cmax;
  r.vel2 = vel2;
  r.cprod = vel2 / 1000;
  r.time = vel2 * 60;
  return r;
}

TEST(make_histogram, sorts_filters_and_adds_up) {
  struct Row {
    const char* name;
    ResultRecord record;
    std::size_t bin, count, n;  ///< what the record adds
  };

  const std::vector<Row> table = {
      {"just inside a bin", histogram_record(89.999, 1, 340), 0, 1, 1},
      {"at the edge", histogram_record(90, 1, 340), 1, 1, 1},
      {"last bin", histogram_record(359.999, 1, 340), 3, 1, 1},
      {"at the filter level", histogram_record(45, 0.25, 340), 0, 1, 1},
      {"below the filter level", histogram_record(45, 0.249, 340), 0, 0, 0},
      {"no correlation", histogram_record(45, nan, 340), 0, 0, 0},
      {"slowest", histogram_record(200, 1, 240), 2, 1, 1},
      {"too slow", histogram_record(200, 1, 239.999), 2, 1, 0},
      {"fastest", histogram_record(200, 1, 600), 2, 1, 1},
      {"too fast", histogram_record(200, 1, 600.001), 2, 1, 0},
      {"no speed", histogram_record(200, 1, nan), 2, 1, 0},
      {"no azimuth", histogram_record(nan, 1, 340), 0, 0, 0},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const std::vector<HistogramBin> bins = tavrik::make_histogram({&row.record, 1}, 4, 0.25);
    ASSERT_EQ(bins.size(), 4U);
    for (std::size_t b = 0; b < bins.size(); ++b) {
      EXPECT_EQ(bins[b].count, b == row.bin ? row.count : 0U);
      EXPECT_EQ(bins[b].n, b == row.bin ? row.n : 0U);
      EXPECT_EQ(bins[b].sum_vel2, b == row.bin && row.n == 1 ? row.record.vel2 : 0.0);
    }
  }
}

TEST_F(results, end_with_the_histogram) {
  const std::vector<ResultRecord> records = {
      histogram_record(10, 1, 340), histogram_record(20, 1, 345), histogram_record(30, 1, 700),
      histogram_record(100, 1, 100), histogram_record(300, 1, 333.3333333)};
  tavrik::write_histogram(folder / "rec.ko24", tavrik::make_histogram(records, 4, 0));
  tavrik::close_result_files();
  EXPECT_EQ(folder.read("rec.hst"),
            "3 342.5 0.3425 342.5\n1 0. 0. 0.\n0 0. 0. 0.\n1 333.333 0.333333 333.333\n");
}

TEST_F(results, end_the_run_for_an_azimuth_behind_the_last_bin) {
  for (const int size : {4, 180, 360}) {
    SCOPED_TRACE(size);
    const std::vector<ResultRecord> records = {histogram_record(0, 1, 340),
                                               histogram_record(360, 1, 340)};
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { tavrik::make_histogram(records, size, 0); }), 1);
    EXPECT_EQ(captured.take(), "histoindex out of range(" + std::to_string(size) + ")\n");
  }
}

}  // namespace
