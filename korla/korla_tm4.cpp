// Reading of TM4 files.

#include "korla/korla_tm4.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "korla/bytes.h"
#include "korla/calendar.h"
#include "korla/comment.h"
#include "korla/file_warnings.h"
#include "korla/korla16.h"
#include "korla/lines.h"
#include "korla/messages.h"
#include "korla/numbers.h"
#include "korla/path_date.h"
#include "korla/sample_times.h"
#include "korla/stations.h"

namespace KorLa {

namespace {

constexpr std::size_t most_channels = 126;

/// A column that begins at this time or later counts from 1970 itself. A smaller one may count from
/// the start of a recording, a day or a year.
constexpr double first_dated_time = 366.0 * seconds_per_day;

/// The samples of a file as they are read, line by line.
class Table {
 public:
  Table(const std::string& path, std::FILE* file)
      : path_(path), warnings_(path), size_(bytes_left(file)), lines_(file, path) {}

  /// Takes the comment line.
  std::string comment_line() {
    std::string_view line;
    lines_.next(line);
    return std::string(line);
  }

  /// Takes all data lines.
  void read_all();

  /// Seconds from the first line to the second; 0 without a second line.
  double sampling_interval() const { return interval_; }

  double first_time() const { return first_time_; }

  const std::optional<SampleTimes>& times() const { return times_; }

  std::vector<std::vector<std::int32_t>>& samples() { return samples_; }

 private:
  [[noreturn]] void refuse(const char* what) const;
  bool next_line(std::string_view& line, bool& marked);
  void begin(std::size_t n_channels);
  bool read_values(std::string_view line);
  const char* read_unusual(const char* next, std::int32_t& value);
  bool is_doubled() const;
  void warn_of_going_back(double time);
  void add_line(bool marked);

  std::string path_;
  FileWarnings warnings_;
  std::size_t size_;  ///< of the file, bytes
  LineReader lines_;
  double time_ = 0;                                   ///< of the line being read
  std::array<std::int32_t, most_channels> values_{};  ///< its other numbers
  std::size_t n_values_ = 0;
  bool any_out_of_range_ = false;  ///< of these
  std::vector<std::vector<std::int32_t>> samples_;
  std::optional<SampleTimes> times_;  ///< from the second line on
  double first_time_ = 0;
  double last_time_ = 0;
  double interval_ = 0;
  bool said_back_ = false;
};

void Table::refuse(const char* what) const {
  throw std::runtime_error(compose("{}: line {}: {}\n", path_, lines_.number(), what));
}

/// Makes room for a channel count. No line is shorter than a digit and a blank for each value.
void Table::begin(std::size_t n_channels) {
  samples_.resize(n_channels);
  for (std::vector<std::int32_t>& channel : samples_) {
    channel.reserve(size_ / (2 * (n_channels + 1)) + 1);
  }
}

/// Takes the next line that holds values; false at the end.
bool Table::next_line(std::string_view& line, bool& marked) {
  const LineReader::Found found = lines_.next_data(line, marked);
  if (found == LineReader::Found::too_long) {
    refuse("too long");
  }
  return found == LineReader::Found::line;
}

/// Reads a value of any kind. Values are whole counts; a fraction is rounded. Returns where it
/// ends, null if there is none.
const char* Table::read_unusual(const char* next, std::int32_t& value) {
  const char* end = next;
  if (read_whole(end, value) && *end <= ' ') {
    return end;
  }
  double real = 0;
  if (!read_real(next, real)) {
    return nullptr;
  }
  const double rounded = std::round(real);
  if (rounded >= std::numeric_limits<std::int32_t>::min() &&
      rounded <= std::numeric_limits<std::int32_t>::max()) {
    value = static_cast<std::int32_t>(rounded);
  } else {
    any_out_of_range_ = true;
  }
  return next;
}

/// Reads a line's numbers; false if there is something else, or too many, or none.
bool Table::read_values(std::string_view line) {
  const char* first = line.data();
  const char* line_end = first + line.size();
  n_values_ = 0;
  any_out_of_range_ = false;
  if (!read_real(first, time_)) {
    return false;
  }
  const char* next = first;  // this and `count` may stay in registers
  std::size_t count = 0;
  for (; count < most_channels && next < line_end; ++count) {
    const char* end = next;
    if (!read_usual_whole(end, values_[count]) || *end > ' ') {
      end = read_unusual(next, values_[count]);
    }
    if (end == nullptr) {
      break;
    }
    next = end;
  }
  n_values_ = count;
  return skip_blanks(next) >= line_end;
}

/// Whether the line that was read is the one before it once more.
bool Table::is_doubled() const {
  bool same = !samples_[0].empty() && time_ == last_time_ && !any_out_of_range_;
  for (std::size_t c = 0; same && c < samples_.size(); ++c) {
    same = values_[c] == samples_[c].back();
  }
  return same;
}

void Table::warn_of_going_back(double time) {
  if (time < last_time_ && !said_back_) {
    warnings_.say(fmt::format("the time goes back at line {}, samples count on", lines_.number()));
    said_back_ = true;
  }
}

/// Appends the line that was read.
void Table::add_line(bool marked) {
  const std::size_t index = samples_[0].size();
  const double time = time_;
  if (!std::isfinite(time)) {
    refuse("the time is no number");
  }
  if (index == 0) {
    first_time_ = time;
  } else if (index == 1) {
    interval_ = time - first_time_;
    times_.emplace(1.0 / interval_, std::numeric_limits<double>::infinity());
    times_->add_piece(0, first_time_, false);
  }
  if (index > 0) {
    // Measured from line to line, since the frequency comes from two times that may be rounded.
    const bool gap = time - last_time_ > 1.5 * interval_;
    times_->add_piece(index, time, marked || gap);
    warn_of_going_back(time);
  }
  last_time_ = time;
  if (any_out_of_range_) {
    refuse("a value is out of range");
  }
  const std::int32_t* value = values_.data();
  for (std::vector<std::int32_t>& channel : samples_) {
    channel.push_back(*value++);
  }
}

void Table::read_all() {
  std::string_view line;
  bool marked = false;
  while (next_line(line, marked)) {
    const bool readable = read_values(line);
    if (samples_.empty() && n_values_ > 0) {
      begin(n_values_);
    }
    if (!readable || samples_.empty() || n_values_ != samples_.size()) {
      if (lines_.had_end()) {
        refuse("not a time and a value for each channel");
      }
      warnings_.say(fmt::format("line {} is cut short and left out", lines_.number()));
      break;
    }
    if (is_doubled()) {
      warnings_.repeat("the line before once more, left out", lines_.number());
      continue;
    }
    add_line(marked);
    marked = false;
  }
  warnings_.sum_up();
}

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
  Table table(path, file.get());
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
