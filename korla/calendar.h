#pragma once
// Calendar dates to seconds, always in UTC. Used by the comment line and the dates in paths.

#include <cstdint>
#include <optional>

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

/// Seconds since 1970 UTC; nothing for a moment that no calendar or clock shows. The years 0 to
/// 9999, the hour 24 and the second 60 are accepted.
std::optional<std::int64_t> utc_seconds(const CalendarTime& time);

}  // namespace KorLa
