#pragma once
// The times that the stamps of 16-bit station files stand for. Used by the readers of these files.

#include <array>
#include <cstdint>
#include <optional>

namespace KorLa {

/// What a block carries: the minute of the day and the second.
struct Stamp {
  int minute = 0;
  int second = 0;
  bool operator==(const Stamp&) const = default;
};

/// Whether the blocks of a group carry the same stamp.
inline bool agree(const std::array<Stamp, 3>& stamps) {
  return stamps[1] == stamps[0] && stamps[2] == stamps[0];
}

/// Adds to stamps the day that they are of: the file's first day, and the next one each time that
/// they pass midnight.
class StampClock {
 public:
  /// day_start: of the file's first day, seconds since 1970 UTC.
  explicit StampClock(std::int64_t day_start) : base_(day_start) {}

  /// Seconds since 1970 UTC. A stamp more than 12 hours before the one before it is of the next
  /// day; one that goes back by less is of the same. believed: the stamp may begin a day.
  std::int64_t time(Stamp stamp, bool believed);

  /// Number of midnights passed.
  int midnights() const { return midnights_; }

 private:
  std::int64_t plain_time(Stamp stamp) const;
  void pass_midnight(Stamp stamp);

  std::int64_t base_;           ///< of all stamps
  std::int64_t hour_base_ = 0;  ///< on top, of minutes below 60: a day once past midnight
  std::optional<std::int64_t> last_;
  int midnights_ = 0;
};

}  // namespace KorLa
