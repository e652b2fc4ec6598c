// Working out sample times from stamps.

#include "korla/sample_times.h"

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
/// so that only their differences enter. A sample's time is its distance from the first of its own
/// stretch, added once: no rounding error grows with the length of the file.
std::vector<double> SampleTimes::times(double start, std::size_t count) const {
  std::vector<double> result(count);
  std::size_t first = 0;
  double first_time = start;
  for (std::size_t next = 1; first < count; ++next) {
    const bool last = next >= anchors_.size();
    const std::size_t end = last ? count : anchors_[next].index;
    for (std::size_t i = first; i < end && i < count; ++i) {
      result[i] = static_cast<double>(i - first) / frequency_ + first_time;
    }
    first = end;
    if (!last) {
      first_time = start + (anchors_[next].stamp - anchors_[0].stamp);
    }
  }
  return result;
}

}  // namespace KorLa
