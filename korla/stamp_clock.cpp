// Days of stamps.

#include "korla/stamp_clock.h"

#include "korla/calendar.h"

namespace KorLa {

namespace {

constexpr int first_hour_end = 60;
constexpr int last_hour = 23 * 60;

}  // namespace

std::int64_t StampClock::plain_time(Stamp stamp) const {
  return base_ + std::int64_t{stamp.minute} * 60 + stamp.second +
         (stamp.minute < first_hour_end ? hour_base_ : 0);
}

/// In the hour after midnight both days are at hand: 23:59 may come again when a clock is put back.
void StampClock::pass_midnight(Stamp stamp) {
  ++midnights_;
  if (stamp.minute < first_hour_end) {
    hour_base_ += seconds_per_day;
  } else {
    base_ += seconds_per_day;
  }
}

std::int64_t StampClock::time(Stamp stamp, bool believed) {
  constexpr std::int64_t half_day = seconds_per_day / 2;
  if (!believed) {
    return plain_time(stamp);
  }
  if (hour_base_ > 0 && stamp.minute >= first_hour_end && stamp.minute < last_hour) {
    base_ += hour_base_;
    hour_base_ = 0;
  }
  if (last_ && *last_ - plain_time(stamp) > half_day) {
    pass_midnight(stamp);
  }
  last_ = plain_time(stamp);
  return *last_;
}

}  // namespace KorLa
