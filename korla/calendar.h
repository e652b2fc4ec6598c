#pragma once
// Calendar dates to seconds, always in UTC. Used by the comment line and the dates in paths.

#include <cstdint>
#include <optional>

namespace KorLa {

/// A moment as people write it.
struct CalendarTime {
  int year = 0;
  int month = 1;  ///< 1..12
  int day = 1;    ///< 1..31
  int hour = 0;
  int minute = 0;
  int second = 0;
};

/// Seconds since 1970 UTC; nothing for a moment that no calendar or clock shows.
std::optional<std::int64_t> utc_seconds(const CalendarTime& time);

}  // namespace KorLa
