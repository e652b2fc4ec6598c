#pragma once
// The times of a series that is read in pieces: they count on by the sampling frequency, and begin
// anew after a gap. Used by the readers of files whose pieces carry times.

#include <cstddef>
#include <vector>

namespace KorLa {

/// Collects the pieces' times, then gives every sample its own. A stamp is trusted only where it
/// shows a gap, since stamps are coarser than the distance between two samples.
class SampleTimes {
 public:
  /// frequency: samples per second. tolerance: seconds that a piece may be late without a gap.
  SampleTimes(double frequency, double tolerance);

  /// Takes a piece that begins at sample `index` and carries the time `stamp`, seconds by a clock
  /// of any zero. marked: the file says that a gap is before it. Pieces come in the order of their
  /// samples.
  void add_piece(std::size_t index, double stamp, bool marked);

  /// A mark of a gap before a piece that carries no time: it is counted, and times go on.
  void add_mark() { ++gaps_; }

  /// Number of gaps so far.
  std::size_t gaps() const { return gaps_; }

  /// Whether the last piece came earlier than the one before it, or than its place in the series.
  bool went_back() const { return went_back_; }

  /// The times of samples 0 to count - 1, when the first of them is at `start`, seconds since 1970
  /// UTC.
  std::vector<double> times(double start, std::size_t count) const;

 private:
  /// A sample whose time comes from its stamp: the first one, and the first after each gap.
  struct Anchor {
    std::size_t index;
    double stamp;
  };

  double frequency_;
  double tolerance_;
  std::vector<Anchor> anchors_;
  double last_stamp_ = 0;
  std::size_t gaps_ = 0;
  bool went_back_ = false;
};

/// Appends `count` times, the first at `start`, `frequency` samples per second. A time is its
/// distance from the first, added once: no rounding error grows with the length of the file.
void append_times(std::vector<double>& times, std::size_t count, double frequency, double start);

}  // namespace KorLa
