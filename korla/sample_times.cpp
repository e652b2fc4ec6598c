// Working out sample times from stamps.

#include "korla/sample_times.h"

#include <algorithm>
#include <array>

namespace KorLa {

SampleTimes::SampleTimes(double frequency, double tolerance)
    : frequency_(frequency), tolerance_(tolerance) {}

void SampleTimes::add_piece(std::size_t index, double stamp, bool marked) {
  went_back_ = false;
  if (anchors_.empty()) {
    const double before = index == 0 ? 0.0 : static_cast<double>(index) / frequency_;
    anchors_.push_back({0, stamp - before});
  } else {
    const Anchor& anchor = anchors_.back();
    // Where the piece would be if no sample were missing since the last anchor. Measured from there
    // and not from the piece before, so that the stamps' missing fractions do not add up.
    const double place = anchor.stamp + static_cast<double>(index - anchor.index) / frequency_;
    const double late = stamp - place;
    if (late > tolerance_ || (marked && late > 0)) {
      anchors_.push_back({index, stamp});
      ++gaps_;
    } else {
      gaps_ += marked ? 1 : 0;
      went_back_ = stamp < last_stamp_ || late < -tolerance_;
    }
  }
  last_stamp_ = stamp;
}

/// Walks the stretches from anchor to anchor. Stamps may count from midnight or by another clock,
/// so that only their differences enter.
std::vector<double> SampleTimes::times(double start, std::size_t count) const {
  std::vector<double> result;
  result.reserve(count);
  double first_time = start;
  for (std::size_t next = 1; result.size() < count; ++next) {
    const bool last = next >= anchors_.size();
    const std::size_t end = last ? count : std::min(count, anchors_[next].index);
    append_times(result, end - result.size(), frequency_, first_time);
    if (!last) {
      first_time = start + (anchors_[next].stamp - anchors_[0].stamp);
    }
  }
  return result;
}

/// A few hundred at a time go through memory that is at hand, so that a vector of millions of times
/// is not cleared before it is filled.
void append_times(std::vector<double>& times, std::size_t count, double frequency, double start) {
  std::array<double, 512> part;
  for (std::size_t done = 0; done < count; done += part.size()) {
    const auto first = static_cast<double>(done);
    const std::size_t n = std::min(part.size(), count - done);
    for (int i = 0; i < static_cast<int>(n); ++i) {
      part[static_cast<std::size_t>(i)] = (first + i) / frequency + start;
    }
    times.insert(times.end(), part.begin(), part.begin() + static_cast<std::ptrdiff_t>(n));
  }
}

}  // namespace KorLa
