// Dates and stations in paths.

#include "korla/path_date.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace {

using KorLa::find_path_date;

constexpr std::int64_t day = 1456790400;  // 1 March 2016
constexpr std::int64_t noon = day + 43200;

struct Row {
  std::string path;
  std::int64_t time;
  std::int64_t day;
  int year = 2016;
  bool inferred = false;
  int station = -1;  ///< -1: none
};

void expect_dates(const std::vector<Row>& table, int newest_year) {
  for (const Row& row : table) {
    SCOPED_TRACE(row.path);
    const auto date = find_path_date(row.path, newest_year);
    ASSERT_TRUE(date.has_value());
    EXPECT_EQ(date->time, row.time);
    EXPECT_EQ(date->day, row.day);
    EXPECT_EQ(date->year, row.year);
    EXPECT_EQ(date->year_inferred, row.inferred);
    EXPECT_EQ(date->station ? int{*date->station} : -1, row.station);
  }
}

TEST(find_path_date, reads_each_pattern) {
  expect_dates(
      {
          {"20160301/r6030112.dat", noon, day, 2016, false, 0},
          {"20160301_t6030112.", noon, day, 2016, false, 1},
          {"2016/03/20160301/w6030112.dat", noon, day, 2016, false, 2},
          {"o2016030112.dat", noon, day, 2016, false, 3},
          {"f6030112.dat", noon, day, 2016, true, 4},
          {"f6030112", noon, day, 2016, true, 4},
          {"f6030112x", noon, day, 2016, true, 4},
          {"/data/2016/03/20160301/r6030112.dat", noon, day, 2016, false, 0},
          {"/data/20160301/r6030112.dat", noon, day, 2016, false, 0},
          {"./r6030112.dat", noon, day, 2016, true, 0},
          {"r6030112.dat/", noon, day, 2016, true, 0},
          {"r6030112.d/any.dat", noon, day, 2016, true, 0},
          {"r6030112.d/r6030100.dat", day, day, 2016, true, 0},
          // The folder's year, whatever the digit.
          {"20160301/r9030112.dat", noon, day, 2016, false, 0},
          // A folder with a year goes before a name without.
          {"r2016030100.d/r6030112.dat", day, day, 2016, false, 0},
          {"r6022923.dat", day - 3600, day - 86400, 2016, true, 0},
      },
      2016);
}

TEST(find_path_date, takes_a_2_behind_the_letter_for_the_second_array) {
  expect_dates(
      {
          {"r26030112.dat", noon, day, 2016, true, 5},
          {"t26030112", noon, day, 2016, true, 6},
          {"w22016030112.dat", noon, day, 2016, false, 7},
          {"20160301/o26030112.dat", noon, day, 2016, false, 3},
          {"r2010203.dat", 1325473200, 1325462400, 2012, true, 0},
          // Reads as r, 2012-10-30 11h too, but for the digit that is left.
          {"r21030112", 1298980800, 1298937600, 2011, true, 5},
      },
      2016);
}

TEST(find_path_date, knows_other_letters_for_no_station) {
  expect_dates(
      {
          {"R6030112.dat", noon, day, 2016, true, -1},
          {"x6030112.dat", noon, day, 2016, true, -1},
          {"f26030112.dat", noon, day, 2016, true, -1},
      },
      2016);
}

TEST(find_path_date, refuses_what_no_calendar_has) {
  for (const char* path :
       {"", "/", "r", "r603011.dat", "6030112.dat", "rr6030112.dat", "xr6030112.dat",
        "-6030112.dat", "r6130112.dat", "r6033212.dat", "r6030125.dat", "r5022900.dat",
        "r60301 2.dat", "r6-30112.dat", "r60301123456.dat", "201603012.dat", "20160301/6030112.dat",
        "2016/03/01/rec.dat", "morning.dat"}) {
    SCOPED_TRACE(path);
    EXPECT_FALSE(find_path_date(path, 2016).has_value());
  }
}

TEST(find_path_date, infers_the_newest_year_with_the_digit) {
  struct Inferred {
    char digit;
    int newest, year;
  };

  for (const Inferred& row : std::vector<Inferred>{{'6', 2016, 2016},
                                                   {'5', 2016, 2015},
                                                   {'7', 2016, 2007},
                                                   {'0', 2016, 2010},
                                                   {'9', 2000, 1999},
                                                   {'0', 2000, 2000},
                                                   {'1', 2000, 1991}}) {
    SCOPED_TRACE(testing::Message() << row.digit << " in " << row.newest);
    const auto date = find_path_date(std::string("r") + row.digit + "030112.dat", row.newest);
    ASSERT_TRUE(date.has_value());
    EXPECT_EQ(date->year, row.year);
    EXPECT_TRUE(date->year_inferred);
  }
}

TEST(modification_year, is_that_of_the_file_in_utc) {
  const support::TemporaryFolder folder;
  const std::string path = folder.write("a", "");
  for (const auto& [seconds, year] : std::vector<std::pair<std::int64_t, int>>{
           {1451606399, 2015}, {1451606400, 2016}, {946684800, 2000}}) {
    const timespec time{seconds, 0};
    const timespec times[2] = {time, time};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    EXPECT_EQ(KorLa::modification_year(path), year);
  }
  EXPECT_EQ(KorLa::modification_year(folder / "none"), 1970);
}

}  // namespace
