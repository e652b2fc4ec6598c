// Reading of the lines of TM4 files.

#include "korla/tm4_table.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <stdexcept>

#include "korla/bytes.h"
#include "korla/messages.h"
#include "korla/numbers.h"

namespace KorLa {

TM4Table::TM4Table(const std::string& path, std::FILE* file)
    : path_(path), warnings_(path), size_(bytes_left(file)), lines_(file, path) {}

std::string TM4Table::comment_line() {
  std::string_view line;
  lines_.next(line);
  return std::string(line);
}

void TM4Table::refuse(const char* what) const {
  throw std::runtime_error(compose("{}: line {}: {}\n", path_, lines_.number(), what));
}

/// Makes room for a channel count. No line is shorter than a digit and a blank for each value.
void TM4Table::begin(std::size_t n_channels) {
  samples_.resize(n_channels);
  for (std::vector<std::int32_t>& channel : samples_) {
    channel.reserve(size_ / (2 * (n_channels + 1)) + 1);
  }
}

/// Takes the next line that holds values; false at the end.
inline bool TM4Table::next_line(std::string_view& line, bool& marked) {
  const LineReader::Found found = lines_.next_data(line, marked);
  if (found == LineReader::Found::too_long) {
    refuse("too long");
  }
  return found == LineReader::Found::line;
}

/// Reads a value of any kind. Values are whole counts; a fraction is rounded. Returns where it
/// ends, null if there is none.
const char* TM4Table::read_unusual(const char* next, std::int32_t& value) {
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

/// Reads a line that is written as most are: single blanks, and whole numbers of a few digits.
/// False for any other. That a blank follows a number is seen where the next one is read.
inline bool TM4Table::read_usual_line(std::string_view line) {
  const char* next = line.data();
  if (!read_decimal(next, time_)) {
    return false;
  }
  const std::size_t n_channels = samples_.size();
  for (std::size_t c = 0; c < n_channels; ++c) {
    if (!read_usual_whole(next, values_[c])) {
      return false;
    }
  }
  n_values_ = n_channels;
  return next == line.data() + line.size();
}

/// Reads a line however it is written; false if there is something else than numbers, or too many.
bool TM4Table::read_any_line(std::string_view line) {
  const char* next = line.data();
  const char* line_end = next + line.size();
  n_values_ = 0;
  if (!read_real(next, time_)) {
    return false;
  }
  while (n_values_ < most_channels && next < line_end) {
    const char* end = read_unusual(next, values_[n_values_]);
    if (end == nullptr) {
      break;
    }
    next = end;
    ++n_values_;
  }
  return skip_blanks(next) >= line_end;
}

/// Reads a line's numbers; false if they are not a time and a value for each channel. The first
/// line tells how many these are.
inline bool TM4Table::read_line(std::string_view line) {
  any_out_of_range_ = false;
  if (read_usual_line(line) && n_values_ > 0) {
    return true;
  }
  const bool readable = read_any_line(line);
  if (samples_.empty() && n_values_ > 0) {
    begin(n_values_);
  }
  return readable && n_values_ > 0 && n_values_ == samples_.size();
}

/// Whether the line that was read comes after the one before it, and without a gap.
inline bool TM4Table::follows_closely() const {
  return time_ > last_time_ && time_ - last_time_ <= longest_step_;
}

/// Whether the line that was read is the one before it once more.
bool TM4Table::is_doubled() const {
  if (time_ != last_time_ || samples_[0].empty() || any_out_of_range_) {
    return false;
  }
  bool same = true;
  for (std::size_t c = 0; same && c < samples_.size(); ++c) {
    same = values_[c] == samples_[c].back();
  }
  return same;
}

/// Takes the sampling frequency from the first two lines.
void TM4Table::begin_times() {
  interval_ = time_ - first_time_;
  longest_step_ = std::min(1.5 * interval_, std::numeric_limits<double>::max());
  times_.emplace(1.0 / interval_, std::numeric_limits<double>::infinity());
  times_->add_piece(0, first_time_, false);
}

/// Looks for a gap, and for a clock that was put back. A gap is measured from line to line, since
/// the frequency comes from two times that may be rounded. Only after one, or a mark of one, does a
/// line's time count.
void TM4Table::check_time(bool marked) {
  if (marked || time_ - last_time_ > 1.5 * interval_) {
    times_->add_piece(samples_[0].size(), time_, true);
  }
  if (time_ < last_time_ && !said_back_) {
    warnings_.say(fmt::format("the time goes back at line {}, samples count on", lines_.number()));
    said_back_ = true;
  }
}

inline void TM4Table::add_values() {
  last_time_ = time_;
  const std::int32_t* value = values_.data();
  for (std::vector<std::int32_t>& channel : samples_) {
    channel.push_back(*value++);
  }
}

/// Appends the line that was read.
void TM4Table::add_line(bool marked) {
  const std::size_t index = samples_[0].size();
  if (!std::isfinite(time_)) {
    refuse("the time is no number");
  }
  if (index == 0) {
    first_time_ = time_;
  } else if (index == 1) {
    begin_times();
  }
  if (index > 0) {
    check_time(marked);
  }
  if (any_out_of_range_) {
    refuse("a value is out of range");
  }
  add_values();
}

void TM4Table::read_all() {
  std::string_view line;
  bool marked = false;
  while (next_line(line, marked)) {
    if (!read_line(line)) {
      if (lines_.had_end()) {
        refuse("not a time and a value for each channel");
      }
      warnings_.say(fmt::format("line {} is cut short and left out", lines_.number()));
      break;
    }
    if (follows_closely() && !marked && !any_out_of_range_) {
      add_values();
    } else if (is_doubled()) {
      warnings_.repeat("the line before once more, left out", lines_.number());
    } else {
      add_line(marked);
      marked = false;
    }
  }
  warnings_.sum_up();
}

}  // namespace KorLa
