// Formatting and writing of result lines.

#include "src/results.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "src/console.h"
#include "src/settings.h"

namespace tavrik {

namespace {

constexpr std::size_t buffer_size = 65536;
/// No number takes more: the largest double has 309 digits before the point, and 6 follow it.
constexpr std::size_t longest_number = 400;

std::array<ResultStream*, 6> all_streams() {
  ResultFiles& files = result_files;
  return {&files.az, &files.caz, &files.part, &files.lltmp, &files.crn, &files.hst};
}

void report_lost_lines(ResultStream& stream) {
  stream.failed = true;
  result_files.write_failed = true;
  warn("Can't write {}\n", stream.path);
}

void flush(ResultStream& stream) {
  const char* next = stream.buffer.data();
  std::size_t left = stream.used;
  stream.used = 0;
  while (left > 0 && !stream.failed) {
    const ssize_t written = write(stream.descriptor, next, left);
    if (written > 0) {
      next += written;
      left -= static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      report_lost_lines(stream);
    }
  }
}

void close_stream(ResultStream& stream) {
  if (!stream.is_open()) {
    return;
  }
  flush(stream);
  const int descriptor = stream.descriptor;
  stream.descriptor = -1;
  if (close(descriptor) != 0 && !stream.failed) {
    report_lost_lines(stream);
  }
}

/// Room for one more number or for a short text at the end of the stream's buffer.
char* reserve(ResultStream& stream, std::size_t size = longest_number) {
  if (stream.used + size > stream.buffer.size()) {
    flush(stream);
  }
  return stream.buffer.data() + stream.used;
}

void put(ResultStream& stream, std::string_view text) {
  char* place = reserve(stream, text.size());
  stream.used += static_cast<std::size_t>(std::copy(text.begin(), text.end(), place) - place);
}

void put_number(ResultStream& stream, double value, std::chars_format format, int precision) {
  if (std::isnan(value)) {
    put(stream, "nan");  // whatever the NaN's sign
    return;
  }
  char* place = reserve(stream);
  const auto result = std::to_chars(place, place + longest_number, value, format, precision);
  stream.used += static_cast<std::size_t>(result.ptr - place);
}

void put_fixed(ResultStream& stream, double value, int precision = 6) {
  put_number(stream, value, std::chars_format::fixed, precision);
}

void put_general(ResultStream& stream, double value) {
  put_number(stream, value, std::chars_format::general, 6);
}

FileIdentity identity(const struct stat& status) {
  return {status.st_dev, status.st_ino};
}

bool is_input(const struct stat& status) {
  const auto& inputs = result_files.inputs;
  return std::find(inputs.begin(), inputs.end(), identity(status)) != inputs.end();
}

/// Opens a file for writing and empties it, unless it is an input; -1 on failure. The file is
/// looked at before it is emptied.
int open_emptied(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);

  struct stat status {};

  if (descriptor < 0) {
    return -1;
  }
  if (fstat(descriptor, &status) != 0 || is_input(status) ||
      (S_ISREG(status.st_mode) && ftruncate(descriptor, 0) != 0)) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

void write_header(ResultStream& stream, const char* station, double first_time) {
  put(stream, "# ");
  put(stream, station);
  put(stream, " ");
  put_general(stream, first_time);
  put(stream, settings.center_time ? " \"Center time adjusted\"\n" : "\n");
}

/// Writes values that pass through the NaN filter, a blank before each.
void put_filtered(ResultStream& stream, std::chars_format format, std::span<const double> values) {
  for (const double value : values) {
    put(stream, " ");
    put_number(stream, settings.nan_handler(value), format, 6);
  }
}

/// The values that the az and lltmp lines share.
std::array<double, 13> main_values(double time, const ResultRecord& r, const WindowValues& w) {
  return {time,
          r.az,
          r.vel,
          w.mvl[0],
          w.mvl[1],
          w.mvl[2],
          w.value_at_lag[0],
          w.value_at_lag[1],
          w.value_at_lag[2],
          w.lags[0],
          w.lags[1],
          w.lags[2],
          r.slope};
}

void write_az(ResultStream& stream, double time, const ResultRecord& r, const WindowValues& w) {
  put(stream, "0 0");
  put_filtered(stream, std::chars_format::fixed, main_values(time, r, w));
  put(stream, "\n");
}

/// Time of day in minutes, then the values that plots against the time of day need.
void write_caz(ResultStream& stream, double time, const ResultRecord& r) {
  put_fixed(stream, settings.nan_handler(std::fmod(time, 86400.0) / 60), 4);
  put_filtered(stream, std::chars_format::general,
               std::array{r.az, r.vel, r.amp, r.cprod, r.quality});
  put(stream, "\n");
}

void write_part(ResultStream& stream, double time, const ResultRecord& r) {
  put_general(stream, settings.nan_handler(time / 60));
  put_filtered(
      stream, std::chars_format::general,
      std::array{r.b12_13, r.b12_23, r.b13_23, r.a12_13, r.a12_23, r.a13_23, r.v12, r.v13, r.v23});
  put(stream, "\n");
}

void write_lltmp(ResultStream& stream, double time, const ResultRecord& r, const WindowValues& w) {
  put(stream, "0 0");
  put_filtered(stream, std::chars_format::general, main_values(time, r, w));
  write_series(stream, std::array{r.p12, r.p13, r.p23});  // without the NaN filter: intended
}

}  // namespace

std::string result_path(const std::string& data_path, const char* extension) {
  return boost::filesystem::path(data_path).replace_extension(extension).string();
}

void protect_input(const std::string& path) {
  struct stat status {};

  if (stat(path.c_str(), &status) == 0) {
    result_files.inputs.push_back(identity(status));
  }
}

bool is_protected(const std::string& path) {
  struct stat status {};

  return stat(path.c_str(), &status) == 0 && is_input(status);
}

bool open_result(ResultStream& stream, const std::string& data_path, const char* extension) {
  stream = ResultStream();
  stream.path = result_path(data_path, extension);
  stream.descriptor = open_emptied(stream.path);
  if (!stream.is_open()) {
    warn("Can't open {}\n", stream.path);
    return false;
  }
  stream.buffer.resize(buffer_size);
  return true;
}

void open_result_files(const std::string& data_path, const char* station, double first_time) {
  ResultFiles& files = result_files;
  if (settings.write_az) {
    for (const auto& [stream, extension] : {std::pair{&files.az, "az"}, {&files.caz, "caz"}}) {
      if (open_result(*stream, data_path, extension) && settings.comment) {
        write_header(*stream, station, first_time);
      }
    }
  }
  if (settings.write_az && settings.partial) {
    open_result(files.part, data_path, "part");
  }
  if (settings.write_az && settings.lltmp) {
    open_result(files.lltmp, data_path, "lltmp");
  }
  if (settings.crn) {
    open_result(files.crn, data_path, "crn");
  }
}

void write_window(const ResultRecord& record, const WindowValues& values, const PairSeries& crs,
                  double frequency) {
  ResultFiles& files = result_files;
  double time = record.time;
  if (settings.center_time) {
    time += settings.cstep / frequency * 0.5;  // half the step, not half the window: intended
  }
  if (files.crn.is_open()) {
    for (const std::vector<double>& pair : crs) {
      put_general(files.crn, time / 60);
      write_series(files.crn, pair);
    }
  }
  if (files.az.is_open()) {
    write_az(files.az, time, record, values);
  }
  if (files.caz.is_open()) {
    write_caz(files.caz, time, record);
  }
  if (files.part.is_open()) {
    write_part(files.part, time, record);
  }
  if (files.lltmp.is_open()) {
    write_lltmp(files.lltmp, time, record, values);
  }
}

void write_series(ResultStream& stream, std::span<const double> values) {
  if (!stream.is_open()) {
    return;
  }
  for (const double value : values) {
    put(stream, " ");
    put_general(stream, value);
  }
  put(stream, "\n");
}

std::vector<HistogramBin> make_histogram(std::span<const ResultRecord> records, int size,
                                         double filter) {
  constexpr double slowest = 240.0;
  constexpr double fastest = 600.0;
  std::vector<HistogramBin> bins(static_cast<std::size_t>(size));
  const double width = 360.0 / size;
  for (const ResultRecord& record : records) {
    if (std::isnan(record.az)) {
      continue;
    }
    const auto index = static_cast<std::size_t>(std::floor(record.az / width));
    if (index >= bins.size()) {
      fail("histoindex out of range({})\n", index);
    }
    if (!(record.cmax >= filter)) {
      continue;
    }
    HistogramBin& bin = bins[index];
    ++bin.count;
    if (record.vel2 >= slowest && record.vel2 <= fastest) {
      ++bin.n;
      bin.sum_vel2 += record.vel2;
      bin.sum_cprod += record.cprod;
      bin.sum_time += record.time;
    }
  }
  return bins;
}

void write_histogram(const std::string& data_path, std::span<const HistogramBin> bins) {
  ResultStream& stream = result_files.hst;
  if (!open_result(stream, data_path, "hst")) {
    return;
  }
  for (const HistogramBin& bin : bins) {
    put(stream, fmt::format("{}", bin.count));
    if (bin.n == 0) {
      put(stream, " 0. 0. 0.\n");
    } else {
      const auto n = static_cast<double>(bin.n);
      write_series(stream, std::array{bin.sum_vel2 / n, bin.sum_cprod / n, bin.sum_time / n / 60});
    }
  }
}

void flush_result_files() {
  for (ResultStream* stream : all_streams()) {
    if (stream->is_open()) {
      flush(*stream);
    }
  }
}

void close_result_files() {
  for (ResultStream* stream : all_streams()) {
    close_stream(*stream);
  }
}

}  // namespace tavrik
