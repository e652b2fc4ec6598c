#pragma once
// Whether a run can tell directions with what it was given: files that belong together, microphones
// that stand apart, lags that reach across the array, a threshold and a time range that windows can
// meet, channels that are alive. What does not fit is said in a warning, also with --quiet, and the
// run goes on: nothing here changes a result.

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "src/correlation.h"
#include "src/geometry.h"

namespace tavrik {

/// What a run remembers of each file that it has joined.
struct JoinedFile {
  std::string path;
  const char* station = nullptr;  ///< name
  std::size_t n_channels = 0;
  Positions positions;    ///< of the microphones, as its coordinates have them
  std::size_t begin = 0;  ///< index of its first sample in the joined series
};

/// Says in what the next file of a run differs from the first. What the file before it differs in
/// by as much is not said again. joined: the files so far, at least one.
void check_same_array(std::span<const JoinedFile> joined, const JoinedFile& next);

/// Says what is unusual about an array. path: what it was read from. Ends the program with status 1
/// when the method of least squares is in force and has no solution.
void check_array(const std::string& path, const ArrayGeometry& array);

/// Says when sound may take longer across the longest side than the lags reach. path: of the first
/// file. frequency: samples per second.
void check_lags(const std::string& path, const Baselines& sides, double frequency,
                std::size_t max_lag);

/// Says when no window can reach the level of the histograms, of the file and of the pictures.
void check_level(const std::string& path, std::size_t max_lag);

/// Says when the time range is empty.
void check_range();

/// Says when none of a run's windows was in the time range, unless `check_range` did. times: of all
/// samples.
void check_range_met(const std::string& path, std::span<const double> times, std::size_t windows);

/// Counts, window by window, what is said after the last one only.
class WindowTally {
 public:
  /// files: of the run, at least one; must outlive the tally.
  WindowTally(std::span<const JoinedFile> files, std::size_t max_lag);

  /// Adds the window that starts at sample `first`, which must not be before that of the last call.
  /// energy: of the channels, without their means; exactly 0 for a constant one.
  void add(std::size_t first, const std::array<double, 3>& energy, const Lags& lags);

  /// Says which channels were constant, file by file, and whether a pair's lag stopped at the end
  /// of the range in more than half of the windows, as sound does that needs longer lags, and noise
  /// does not.
  void tell() const;

  std::size_t windows() const { return windows_; }

 private:
  /// The windows that start in one file.
  struct FileTally {
    std::size_t windows = 0;
    std::array<std::size_t, 3> constant{};  ///< of these, the ones with a constant channel
  };

  std::span<const JoinedFile> files_;
  double max_lag_;
  std::vector<FileTally> tallies_;  ///< one for each file
  std::size_t file_ = 0;            ///< that the last window starts in
  std::size_t windows_ = 0;
  std::array<std::size_t, 3> at_the_end_{};  ///< windows with the pair's lag at an end of the range
};

}  // namespace tavrik
