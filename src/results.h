#pragma once
// The text result files of a run: opening, one write function for each kind of line, closing.

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "src/correlation.h"
#include "src/result_record.h"

namespace tavrik {

/// One result file being written. A file that is not open takes lines and drops them.
struct ResultStream {
  std::string path;
  int descriptor = -1;   ///< -1 while not open
  bool failed = false;   ///< a write failed and was reported; the rest is dropped
  std::size_t used = 0;  ///< bytes of `buffer` that wait to be written
  std::vector<char> buffer;

  bool is_open() const { return descriptor >= 0; }
};

/// A file's identity, whatever path leads to it.
struct FileIdentity {
  unsigned long device = 0;
  unsigned long inode = 0;

  bool operator==(const FileIdentity&) const = default;
};

/// All result files of the run, process-wide so that their lines reach the disk whatever ends it.
struct ResultFiles {
  ResultStream az, caz, part, lltmp, crn, hst;
  std::vector<FileIdentity> inputs;  ///< files that no result may overwrite
  bool write_failed = false;         ///< some line was lost: the process ends with status 1
};

inline ResultFiles result_files;

/// What the lines show of a window beside its record: one value for each channel, then for each
/// pair.
struct WindowValues {
  std::array<double, 3> mvl{};           ///< mean absolute value, counts
  std::array<double, 3> value_at_lag{};  ///< weighted correlation at the lag
  Lags lags{};                           ///< samples
};

/// The data file's path with the extension of its last component replaced.
std::string result_path(const std::string& data_path, const char* extension);

/// Marks a file as one that no result may overwrite.
void protect_input(const std::string& path);

/// Whether a path leads to a file that no result may overwrite.
bool is_protected(const std::string& path);

/// Opens a result file named after the data file and empties it. On failure, or when the file is
/// one of the inputs, says "Can't open PATH" and leaves the stream closed.
bool open_result(ResultStream& stream, const std::string& data_path, const char* extension);

/// Opens the files that the settings ask for, except the histogram. With --comment, writes the
/// header to the az and caz files: station name and first sample time, seconds since 1970 UTC.
void open_result_files(const std::string& data_path, const char* station, double first_time);

/// Writes one window to every open file. frequency: samples per second.
/// crs: the weighted correlation series, for the crn file.
void write_window(const ResultRecord& record, const WindowValues& values, const PairSeries& crs,
                  double frequency);

/// One line: a blank before each value, then the line end.
void write_series(ResultStream& stream, std::span<const double> values);

/// The records that fall in one range of azimuths.
struct HistogramBin {
  std::size_t count = 0;  ///< records whose cmax reaches the filter level
  std::size_t n = 0;      ///< of these, the ones with vel2 from 240 to 600 m/s
  double sum_vel2 = 0, sum_cprod = 0, sum_time = 0;  ///< over these n
};

/// Sorts records into `size` bins of equal width. Records with a NaN azimuth are in none. An
/// azimuth behind the last bin, 360 included, ends the program with status 1 (intended).
std::vector<HistogramBin> make_histogram(std::span<const ResultRecord> records, int size,
                                         double filter);

/// Writes the histogram file of the data file.
void write_histogram(const std::string& data_path, std::span<const HistogramBin> bins);

/// Hands the lines written so far to the system.
void flush_result_files();

/// Flushes and closes every result file.
void close_result_files();

}  // namespace tavrik
