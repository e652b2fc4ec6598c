// Dates and stations in paths.

#include "korla/path_date.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::find_path_date;

constexpr std::int64_t day = 1456790400;  // 1 March 2016
constexpr std::int64_t noon = day + 43200;
constexpr bool inferred = true;

/// station: -1 for none.
void expect_date(const std::string& path, std::int64_t time, int station,
                 bool year_inferred = false, int year = 2016) {
  SCOPED_TRACE(path);
  const auto date = find_path_date(path, 2016);
  ASSERT_TRUE(date.has_value());
  EXPECT_EQ(date->time, time);
  EXPECT_EQ(date->day, time - time % 86400);
  EXPECT_EQ(date->year, year);
  EXPECT_EQ(date->year_inferred, year_inferred);
  EXPECT_EQ(date->station ? int{*date->station} : -1, station);
}

TEST(find_path_date, reads_each_pattern) {
  expect_date("20160301/r6030112.dat", noon, 0);
  expect_date("20160301_t6030112.", noon, 1);
  expect_date("2016/03/20160301/w6030112.dat", noon, 2);
  expect_date("o2016030112.dat", noon, 3);
  expect_date("f6030112.dat", noon, 4, inferred);
  expect_date("f6030112", noon, 4, inferred);
  expect_date("f6030112x", noon, 4, inferred);
  expect_date("/data/2016/03/20160301/r6030112.dat", noon, 0);
  expect_date("./r6030112.dat", noon, 0, inferred);
  expect_date("r6030112.dat/", noon, 0, inferred);
  expect_date("r6030112.d/any.dat", noon, 0, inferred);
  expect_date("r6030112.d/r6030100.dat", day, 0, inferred);
  // The folder's year, whatever the digit; and a folder with a year before a name without.
  expect_date("20160301/r9030112.dat", noon, 0);
  expect_date("r2016030100.d/r6030112.dat", day, 0);
}

TEST(find_path_date, takes_a_2_behind_the_letter_for_the_second_array) {
  expect_date("r26030112.dat", noon, 5, inferred);
  expect_date("t26030112", noon, 6, inferred);
  expect_date("w22016030112.dat", noon, 7);
  expect_date("20160301/o26030112.dat", noon, 3);
  expect_date("r2010203.dat", 1325473200, 0, inferred, 2012);
  // Reads as r, 2012-10-30 11h too, but for the digit that is left.
  expect_date("r21030112", 1298980800, 5, inferred, 2011);
}

TEST(find_path_date, knows_other_letters_for_no_station) {
  expect_date("R6030112.dat", noon, -1, inferred);
  expect_date("f26030112.dat", noon, -1, inferred);
}

TEST(find_path_date, refuses_what_no_calendar_has) {
  for (const char* path :
       {"", "/", "r", "r603011.dat", "6030112.dat", "rr6030112.dat", "-6030112.dat", "r6130112.dat",
        "r6033212.dat", "r6030125.dat", "r5022900.dat", "r60301 2.dat", "r6-30112.dat",
        "r60301123456.dat", "20160301/6030112.dat", "2016/03/01/rec.dat"}) {
    EXPECT_FALSE(find_path_date(path, 2016).has_value()) << path;
  }
}

TEST(find_path_date, infers_the_newest_year_with_the_digit) {
  EXPECT_EQ(find_path_date("r6030112.dat", 2016).value().year, 2016);
  EXPECT_EQ(find_path_date("r5030112.dat", 2016).value().year, 2015);
  EXPECT_EQ(find_path_date("r7030112.dat", 2016).value().year, 2007);
  EXPECT_EQ(find_path_date("r9030112.dat", 2000).value().year, 1999);
  EXPECT_EQ(find_path_date("r1030112.dat", 2000).value().year, 1991);
}

TEST(modification_year, is_that_of_the_file_in_utc) {
  const support::TemporaryFolder folder;
  const std::string path = folder.write("a", "");
  support::set_change_time(path, 1451606399);
  EXPECT_EQ(KorLa::modification_year(path), 2015);
  support::set_change_time(path, 1451606400);
  EXPECT_EQ(KorLa::modification_year(path), 2016);
  EXPECT_EQ(KorLa::modification_year(folder / "none"), 1970);
}

}  // namespace
