#pragma once
// Calendar dates to seconds, always in UTC. Used by the comment line and the dates in paths.

#include <cstdint>
#include <string>

namespace KorLa {

/// Seconds of a day and of an hour. UTC as computers count it has no leap seconds.
inline constexpr int seconds_per_day = 86400;
inline constexpr int seconds_per_hour = 3600;

/// A moment as people write it.
struct CalendarTime {
  int year = 0;
  int month = 1;  ///< 1..12
  int day = 1;    ///< 1..31
  int hour = 0;
  int minute = 0;
  int second = 0;
};

/// Whether a calendar and a clock show the moment, in the years 0 to 9999. The hour 24 as the end
/// of a day and the leap second 60 count as shown.
bool on_calendar(const CalendarTime& time);

/// Seconds since 1970 UTC. What is beyond a calendar or a clock is counted on, as the C library
/// does: hour 25 is hour 1 of the next day, and 30 February 2016 is 1 March. The year is within
/// +-9999.
std::int64_t utc_seconds(const CalendarTime& time);

/// The moment as "2016-03-01 12:00:00", and the last part of this.
std::string calendar_text(std::int64_t seconds);
std::string clock_text(std::int64_t seconds);

/// Seconds since the midnight before a moment.
inline std::int64_t time_of_day(std::int64_t seconds) {
  const std::int64_t rest = seconds % seconds_per_day;
  return rest < 0 ? rest + seconds_per_day : rest;
}

}  // namespace KorLa
