#pragma once
// The analysis of one run: gathers the data files, walks the windows, fills the result series and
// writes the result files.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "src/result_record.h"

namespace tavrik {

/// The samples of all files of a run, one behind the other.
struct JoinedSeries {
  std::string first_path;            ///< first file that was read; names the result files
  const char* station = nullptr;     ///< its station's name
  double sampling_frequency = -1.0;  ///< its frequency, Hz; negative while unknown
  double start_time = 0.0;           ///< its first sample's time, seconds since 1970 UTC
  std::vector<double> times;         ///< seconds since 1970 UTC of each sample
  std::array<std::vector<std::int32_t>, 3> samples;  ///< raw counts of channels 0, 1, 2
  bool ended_early = false;  ///< the user ended the run before all files were read
};

/// Whether the user wants the run to end: asked before every file and some hundred times a second
/// meanwhile. The driver sets it where there is a window to close.
inline bool (*end_is_wanted)() = [] { return false; };

/// Reads all files, settles the array's coordinates for each in turn, and the lag range by the
/// first. A file that open_series gives back as null is named in a warning and skipped. Ends the
/// program with status 1 when no file with a usable sampling frequency was read.
/// Throws what the readers throw, and std::runtime_error for a file with fewer than 3 channels.
JoinedSeries gather(const std::vector<std::string>& files);

/// Runs the analysis over the files as one series: appends one record for each window to `series`
/// and writes the result files that the settings ask for. Returns false when the user ended it
/// before the last window: the lines so far are in the files, and no histogram or
/// passages are.
bool analyse(const std::vector<std::string>& files, ResultSeries& series);

}  // namespace tavrik
