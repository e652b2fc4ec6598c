// Calendar arithmetic.

#include "korla/calendar.h"

#include <chrono>

namespace KorLa {

std::optional<std::int64_t> utc_seconds(const CalendarTime& time) {
  using namespace std::chrono;
  const auto in = [](int value, int least, int most) { return value >= least && value <= most; };
  const year_month_day date{year(time.year), month(static_cast<unsigned>(time.month)),
                            day(static_cast<unsigned>(time.day))};
  // A second of 60 is a leap second.
  if (!in(time.year, 0, 9999) || !in(time.month, 1, 12) || !in(time.day, 1, 31) || !date.ok() ||
      !in(time.hour, 0, 24) || !in(time.minute, 0, 59) || !in(time.second, 0, 60)) {
    return std::nullopt;
  }
  const std::int64_t days = sys_days(date).time_since_epoch().count();
  return ((days * 24 + time.hour) * 60 + time.minute) * 60 + time.second;
}

}  // namespace KorLa
