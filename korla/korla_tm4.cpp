// Reading of TM4 files.

#include "korla/korla_tm4.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "korla/bytes.h"
#include "korla/calendar.h"
#include "korla/comment.h"
#include "korla/file_warnings.h"
#include "korla/korla16.h"
#include "korla/messages.h"
#include "korla/path_date.h"
#include "korla/stations.h"
#include "korla/tm4_table.h"

namespace KorLa {

namespace {

/// A column that begins at this time or later counts from 1970 itself. A smaller one may count from
/// the start of a recording, a day or a year.
constexpr double first_dated_time = 366.0 * seconds_per_day;

std::uint8_t find_station(const Comment& comment, const std::optional<PathDate>& path_date) {
  if (comment.station_name.empty()) {
    return path_date && path_date->station ? *path_date->station : unnamed_station;
  }
  const auto station = station_numbers.find(comment.station_name);
  if (station == station_numbers.end()) {
    write_message(compose("WARNING: Unknown station: <{}>\n", comment.station_name));
    return unknown_station;
  }
  return station->second.number;
}

/// Warns where the sampling frequencies of comment and time column drift apart.
void compare_frequencies(const std::string& path, double comment, double column) {
  constexpr double tolerance = 0.001;
  const double difference = std::fabs(comment / column - 1.0);
  if (difference > tolerance) {
    FileWarnings(path).say(fmt::format(
        "the comment says {:.6g} Hz, the time column {:.6g} Hz: {:.1f} s an hour apart, "
        "the column holds",
        comment, column, difference * seconds_per_hour));
  }
}

/// Start of the series: the comment's date and time, else the hour in the path, else the column's
/// first time.
double find_start(const std::string& path, const Comment& comment,
                  const std::optional<PathDate>& path_date, double first_time) {
  if (comment.day_time) {
    return static_cast<double>(comment.record_time.value_or(*comment.day_time));
  }
  if (path_date) {
    return static_cast<double>(path_date->time);
  }
  if (first_time < first_dated_time) {
    FileWarnings(path).say("neither comment nor path has a date, times count from 1970");
  }
  return first_time;
}

SeriesHeader make_header(std::uint8_t station, std::size_t n_channels, double frequency) {
  SeriesHeader header;
  header.magic = {'k', 'o', '2', '4'};
  header.version = 1;
  header.station = station;
  header.n_channels = static_cast<std::uint8_t>(n_channels);
  header.sample_code = 7;
  header.sampling_frequency = frequency;
  header.bits_per_sample = 32;
  header.bytes_per_sample = 4;
  return header;
}

}  // namespace

KORLA_TM4::KORLA_TM4(const std::string& path, double name_time) {
  const File file = open_for_reading(path.c_str());
  if (!file) {
    throw std::runtime_error(compose("Can't open {}\n", path));
  }
  TM4Table table(path, file.get());
  Comment comment;
  const bool valid_comment = parse_comment(table.comment_line(), comment);
  std::optional<PathDate> path_date;
  if (!comment.day_time) {
    path_date = find_path_date(path, modification_year(path));
    warn_of_path_date(path, path_date);
  }
  warn_of_date(path, comment);
  table.read_all();
  samples = std::move(table.samples());
  const std::size_t n_samples = samples.empty() ? 0 : samples[0].size();
  const double frequency = n_samples > 1 ? 1.0 / table.sampling_interval() : -1.0;
  if (n_samples < 2) {
    FileWarnings(path).say(
        fmt::format("a time column of {} lines gives no sampling frequency", n_samples));
  } else if (valid_comment) {
    compare_frequencies(path, comment.frequency, frequency);
  }
  header = make_header(find_station(comment, path_date), samples.size(), frequency);
  for (std::size_t c = 0; c < samples.size(); ++c) {
    channels.push_back({{'c', 'h', 'a', 'n'}, static_cast<std::uint16_t>(c), 1, -1.0, 1.0, 1.0});
  }
  const double start =
      decide_start(header, find_start(path, comment, path_date, table.first_time()),
                   path_date.has_value(), name_time);
  if (table.times()) {
    report_gaps(table.times()->gaps());
    times = table.times()->times(start, n_samples);
  } else {
    times.assign(n_samples, start);
  }
}

int KORLA_TM4::format_id() const {
  return 3;
}

}  // namespace KorLa
