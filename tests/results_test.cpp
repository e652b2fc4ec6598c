// The text result files.

#include "src/results.h"

#include <array>
#include <bit>
#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "tests/support/accepted.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/not_finite.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::nan;
using tavrik::ResultRecord;
using tavrik::Settings;
using tavrik::settings;
using tavrik::WindowValues;

/// A window with a value of its own in every field.
ResultRecord some_record() {
  std::array<double, 27> fields;
  std::iota(fields.begin(), fields.end(), 0.123456789);
  auto record = std::bit_cast<ResultRecord>(fields);
  record.time = 1456812000.5;  // 06:00 of its day
  record.amp = 0.0000125;
  record.quality = 1234567;
  record.v23 = 98765432;
  return record;
}

const WindowValues some_values = {{100.125, 101, 102},
                                  {0.25, 0.5, 1},
                                  {-1.5, 2, 15.9999999},
                                  {{{0.1, 1.5, 2}, {0.2, 2.5, 3}, {0.3, 3.5, 4}}},
                                  {{{1e6, 1, 4, 0.5}, {2e6, 2, 5, 0.6}, {3e6, 3, 6, 0.7}}}};

/// Result files of a data file in a folder of its own.
class results : public FreshState {
 protected:
  /// Writes windows as a run would; returns what was said, and all files.
  std::string write(const std::vector<ResultRecord>& records,
                    const WindowValues& values = some_values) const {
    support::CapturedStderr captured;
    tavrik::open_result_files(header);
    for (const ResultRecord& record : records) {
      tavrik::write_window(record, values, {{{0.5, 1, 0.25}, {0, nan}, {1e-7, 1234567}}}, 16.0);
    }
    tavrik::finish_result_files();
    std::string text = captured.take();
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      files[entry.path().filename()] = folder.read(entry.path().filename().string());
    }
    for (const auto& [name, contents] : files) {
      text.append("== ").append(name).append("\n").append(contents);
    }
    return text;
  }

  support::TemporaryFolder folder;
  const tavrik::DataHeader header = {folder / "rec.ko24", "tolmar", 1456812000.25};
};

TEST_F(results, are_the_accepted_ones) {
  using S = Settings;
  const std::vector<std::vector<bool S::*>> table = {
      {&S::comment, &S::partial, &S::lltmp, &S::entropy},  // nothing without az
      {&S::write_az},
      {&S::write_az, &S::partial},
      {&S::write_az, &S::lltmp},
      {&S::write_az, &S::entropy},
      {&S::crn},
      {&S::acr},
      {&S::write_az, &S::center_time, &S::comment, &S::partial, &S::lltmp, &S::entropy, &S::crn,
       &S::acr}};
  ResultRecord without = some_record();
  without.az = std::copysign(nan, -1.0);  // in az, caz, lltmp
  without.v13 = nan;                      // in part
  without.p13 = -nan;                     // in lltmp, unfiltered
  std::vector<ResultRecord> times(4, some_record());
  times[1].time = 0;
  times[2].time = 86399;
  times[3].time = 86400;
  std::string text;
  for (const auto& wanted : table) {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      std::filesystem::remove(entry);
    }
    settings = {};
    settings.cstep = 64;  // of 16 samples a second
    for (bool S::*const flag : wanted) {
      settings.*flag = true;
    }
    text += "-- files\n" + write(times);
    text += "-- not numbers, in place of longer files\n" + write({without});
    settings.nan_handler = tavrik::keep_nan;
    text += "-- kept\n" + write({without});
  }
  settings.nan_handler = tavrik::replace_nan;
  support::CapturedStderr captured;
  const tavrik::Passage passage = {1000, 12, 350, 20.5, 30.5, 2.5, 340, nan};
  tavrik::write_passages(header, std::vector(2, passage), 0.5);
  tavrik::finish_result_files();
  const std::string said = captured.take();
  text += "-- passages\n" + folder.read("rec.vaz") + said.substr(0, said.find("WARNING")) +
          said.substr(said.find("rec.vaz"));
  support::expect_accepted("results.txt", text);
}

TEST_F(results, hold_the_largest_numbers_and_tell_once_of_a_full_disk) {
  constexpr double most = std::numeric_limits<double>::max();
  ResultRecord record = some_record();
  record.az = record.vel = record.slope = record.time = -most;
  settings.write_az = settings.lltmp = true;
  std::filesystem::create_symlink("/dev/full", folder / "rec.lltmp");
  support::CapturedStderr captured;
  tavrik::open_result_files(header);
  std::string expected;
  for (int i = 0; i < 1000; ++i) {  // some megabytes, many times the buffer
    tavrik::write_window(
        record, {{-most, -most, -most}, {-most, -most, -most}, {-most, -most, -most}}, {}, 16);
    expected += "0 0";
    for (int k = 0; k < 13; ++k) {
      expected += " " + std::to_string(-most);
    }
    expected += "\n";
  }
  const std::string long_text(200000, 'x');  // longer than the buffer
  tavrik::put(tavrik::result_files.az, long_text);
  tavrik::finish_result_files();
  EXPECT_EQ(captured.take(), "Can't write " + (folder / "rec.lltmp") + "\n");
  EXPECT_TRUE(folder.read("rec.az") == expected + long_text);
}

TEST(result_path, replaces_the_extension_of_the_last_component) {
  for (const std::string path : {"rec", "rec.", "a.b", "set.one/rec", "/a/b.c/../d", "../rec"}) {
    const std::string without = path == "rec." ? "rec" : path == "a.b" ? "a" : path;
    EXPECT_EQ(tavrik::result_path(path, "az"), without + ".az");
    EXPECT_EQ(tavrik::result_path(without + ".ko24", "az"), without + ".az");
  }
}

// Of 60 degrees each; velocities from 240 to 600 m/s count for the means.
TEST_F(results, end_with_the_histogram) {
  std::vector<ResultRecord> records;
  for (const auto& [az, cmax, vel2] :
       std::vector<std::array<double, 3>>{{0, 1, 340},
                                          {59.999, 1, 350},
                                          {30, 0.25, 360},
                                          {30, 0.249, 400},
                                          {30, nan, 400},
                                          {nan, 1, 400},
                                          {60, 1, 300},
                                          {130, 1, 100},
                                          {200, 1, 239.999},
                                          {200, 1, 240},
                                          {200, 1, 600},
                                          {200, 1, 600.001},
                                          {200, 1, nan},
                                          {359.999, 1, 333.3333333}}) {
    records.push_back(
        {.az = az, .vel2 = vel2, .cmax = cmax, .time = vel2 * 120, .cprod = vel2 / 1000});
  }
  tavrik::write_histogram(header.path, tavrik::make_histogram(records, 6, 0.25));
  tavrik::finish_result_files();
  EXPECT_EQ(folder.read("rec.hst"),
            "3 350 0.35 700\n1 300 0.3 600\n1 0. 0. 0.\n5 420 0.42 840\n0 0. 0. 0.\n"
            "1 333.333 0.333333 666.667\n");
  records[0].az = 360;  // after the last bin, which ends the run
  support::CapturedStderr captured;
  EXPECT_EQ(exit_status([&] { tavrik::make_histogram(records, 180, 0); }), 1);
  EXPECT_EQ(captured.take(), "histoindex out of range(180)\n");
}

}  // namespace
