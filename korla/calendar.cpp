// Calendar arithmetic.

#include "korla/calendar.h"

#include <chrono>
#include <ctime>
#include <fmt/chrono.h>

namespace KorLa {

bool on_calendar(const CalendarTime& time) {
  using namespace std::chrono;
  const auto in = [](int value, int least, int most) { return value >= least && value <= most; };
  const year_month_day date{year(time.year), month(static_cast<unsigned>(time.month)),
                            day(static_cast<unsigned>(time.day))};
  const bool end_of_day = time.hour == 24 && time.minute == 0 && time.second == 0;
  return in(time.year, 0, 9999) && in(time.month, 1, 12) && in(time.day, 1, 31) && date.ok() &&
         (in(time.hour, 0, 23) || end_of_day) && in(time.minute, 0, 59) && in(time.second, 0, 60);
}

std::int64_t utc_seconds(const CalendarTime& time) {
  using namespace std::chrono;
  const year_month first = year(time.year) / January + months(time.month - 1);
  const sys_days date = sys_days(first / 1) + days(time.day - 1);
  const std::int64_t hours = std::int64_t{date.time_since_epoch().count()} * 24 + time.hour;
  return (hours * 60 + time.minute) * 60 + time.second;
}

std::string calendar_text(std::int64_t seconds) {
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

std::string clock_text(std::int64_t seconds) {
  return fmt::format("{:%H:%M:%S}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

}  // namespace KorLa
