#pragma once
// The text result files of a run: which are opened, and what their lines hold.

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "src/correlation.h"
#include "src/result_record.h"
#include "src/result_stream.h"
#include "src/run_checks.h"
#include "src/statistics.h"

namespace tavrik {

/// All result files of the run, process-wide so that their lines are kept whatever ends it.
struct ResultFiles {
  ResultStream az, caz, part, lltmp, crn, acr, crs, cre, hst, vaz, csv;
};

inline ResultFiles result_files;

/// What the lines show of a window beside its record: values of channels or of pairs.
struct WindowValues {
  std::array<double, 3> mvl{};                  ///< mean absolute value of each channel, counts
  std::array<double, 3> value_at_lag{};         ///< weighted correlation of each pair at its lag
  Lags lags{};                                  ///< of the pairs, samples
  std::array<SpectralStatistics, 3> spectra{};  ///< of the channels, with --entropy
  std::array<AutocorrelationStatistics, 3> autocorrelation{};  ///< of the channels, with --acr
  std::array<double, 3> coefficient{};  ///< see peak_coefficients; with --csv
};

/// What the files of a run say of its data.
struct DataHeader {
  std::string path;                        ///< data file that the result files are named after
  const char* station = nullptr;           ///< name of its station
  double first_time = 0;                   ///< of its first sample, seconds since 1970 UTC
  std::span<const JoinedFile> files = {};  ///< of the run
  double frequency = 0;                    ///< samples per second
  std::size_t max_lag = 0;                 ///< lags on each side of zero
};

/// Opens the files that the settings ask for, except those that are written after the last window.
/// With --comment, writes the header, station name and first sample time, to az, caz, acr, crs and
/// cre.
void open_result_files(const DataHeader& header);

/// What --center-time adds to every time that is written: half the step, not half the window
/// (intended); 0 without it. frequency: samples per second.
double center_shift(double frequency);

/// Writes one window to every open file. frequency: samples per second.
/// crs: the weighted correlation series, for the crn file.
void write_window(const ResultRecord& record, const WindowValues& values, const PairSeries& crs,
                  double frequency);

/// The records that fall in one range of azimuths.
struct HistogramBin {
  std::size_t count = 0;  ///< records whose cmax reaches the filter level
  std::size_t n = 0;      ///< of these, the ones with vel2 from 240 to 600 m/s
  double sum_vel2 = 0, sum_cprod = 0, sum_time = 0;  ///< over these n
};

/// Sorts records into `size` bins of equal width. Records with a NaN azimuth are in none. An
/// azimuth past the last bin, 360 included, ends the program with status 1 (intended).
std::vector<HistogramBin> make_histogram(std::span<const ResultRecord> records, int size,
                                         double filter);

/// Writes the histogram file of the data file.
void write_histogram(const std::string& data_path, std::span<const HistogramBin> bins);

/// Writes the vaz file: one line for each passage. half_step: added to the times of their starts.
void write_passages(const DataHeader& header, std::span<const Passage> passages, double half_step);

/// Hands the lines written so far to the system.
void flush_result_files();

/// Closes every result file: all are whole and take their names.
void finish_result_files();

/// Closes every result file that is still open when the run ends early: see abandon_output.
void abandon_result_files();

}  // namespace tavrik
