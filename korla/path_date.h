#pragma once
// Start times and stations hidden in the paths of station files. Used for files whose comment line
// has no date.

#include <cstdint>
#include <optional>
#include <string>

namespace KorLa {

/// What a path says about its file.
struct PathDate {
  std::int64_t time = 0;  ///< the hour that the name gives, seconds since 1970 UTC
  std::int64_t day = 0;   ///< midnight before it
  int year = 0;
  bool year_inferred = false;           ///< the name has the year's last digit only
  bool contradictory = false;           ///< year, month or day is written twice, differently
  std::optional<std::uint8_t> station;  ///< of the short form in the name, if the tables have it
};

/// Reads date, hour and station from names such as
///   20160301/r6030112.dat           a date; station r, last digit of the year, month, day, hour
///   2016/03/20160301/r6030112.dat   year, month and date; then as above
///   r2016030112.dat                 station, year, month, day, hour
///   r6030112.dat                    station, last digit of the year, month, day, hour
/// in this order, where a "2" may follow the station's letter, and the point may be missing in the
/// last. An inferred year is the newest with that digit not after `newest_year`. Of parts that
/// contradict each other, the year of four digits and the name's month and day hold.
std::optional<PathDate> find_path_date(const std::string& path, int newest_year);

/// Warns where a date's year is but inferred or before 1970, or parts of the path contradict each
/// other.
void warn_of_path_date(const std::string& path, const std::optional<PathDate>& date);

/// Year in which a file was last changed; 1970 if that can't be told.
int modification_year(const std::string& path);

}  // namespace KorLa
