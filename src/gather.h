#pragma once
// From the data files of a run to one joined series. Used by the analysis.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "src/run_checks.h"

namespace tavrik {

/// The samples of all files of a run, one file after the other, and what the run knows from the
/// first of them.
struct LoadedSeries {
  std::vector<JoinedFile> files;     ///< that were read; the first names the result files
  double sampling_frequency = -1.0;  ///< of the first file, Hz; negative while unknown
  double start_time = 0.0;           ///< of its first sample, seconds since 1970 UTC
  std::size_t max_lag = 0;           ///< lags on each side of zero, 1 to 65535; 0 while unknown
  std::vector<double> times;         ///< seconds since 1970 UTC of each sample
  /// Raw counts of channels 0, 1, 2; as many as there are times.
  std::array<std::vector<std::int32_t>, 3> samples;
  bool ended_early = false;  ///< the user ended the run before all files were read
};

/// Reads all files; for each in turn it reads the array's coordinates, so that those of the last
/// file are in force afterwards. The lag range is --maxdelay, or comes from the first file's
/// sampling frequency. A file that open_series gives back as null is named in a warning and
/// skipped; one that does not fit those before it is named and joined. Every file becomes one that
/// no result may overwrite. Ends the program with status 1 when no file with a usable sampling
/// frequency was read. Throws what the readers throw, std::out_of_range for a station number
/// without a name, and std::runtime_error for a file with fewer than 3 channels.
LoadedSeries gather(const std::vector<std::string>& files);

}  // namespace tavrik
