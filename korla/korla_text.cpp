// Reading of text lines.

#include "korla/korla_text.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <utility>

#include "korla/bytes.h"
#include "korla/messages.h"
#include "korla/numbers.h"

namespace KorLa {

namespace {

/// Reads a time column, rounded to the nearest whole number.
bool read_rounded(const char*& next, int& number) {
  constexpr double most = 1e6;  // far beyond any minute of a day
  double value = 0;
  if (!read_real(next, value) || !(std::fabs(value) < most)) {
    return false;
  }
  number = static_cast<int>(std::lround(value));
  return true;
}

std::size_t count_numbers(const char* next) {
  std::size_t count = 0;
  double ignored = 0;
  while (read_real(next, ignored)) {
    ++count;
  }
  return count;
}

}  // namespace

AsciiKORLA::AsciiKORLA(StationFile station_file, File opened, bool quiet)
    : KORLA(std::move(station_file), std::move(opened), quiet), lines_(file()) {
  std::fseek(file(), static_cast<long>(KORLA::station_file().data_offset), SEEK_SET);
  // The shortest sample is a digit and what separates it from the next.
  most_samples_ = bytes_left(file()) / 2 / channel_order_.size() + 1;
}

/// Takes the next line that holds samples; false where there is none, or none that can be read.
/// Lines that begin with a letter are remarks.
bool AsciiKORLA::next_data_line(std::string_view& line, bool& after_mark) {
  LineReader::Found found{};
  do {
    found = lines_.next_data(line, after_mark);
  } while (found == LineReader::Found::line &&
           std::isalpha(static_cast<unsigned char>(line[0])) != 0);
  if (found == LineReader::Found::too_long) {
    write_message("Error: Line to long\n");
    ended_in_group_ = true;
  }
  return found == LineReader::Found::line;
}

/// Reads the samples of one block; false if the line has fewer.
bool AsciiKORLA::read_samples(const char*& next, std::string_view line,
                              std::vector<std::int32_t>& samples) const {
  // A line of n characters has no more than n values, whatever the comment promises.
  samples.resize(std::min(block_length_, line.size()));
  std::size_t count = 0;
  while (count < samples.size() && read_whole(next, samples[count])) {
    ++count;
  }
  if (count == block_length_) {
    return true;
  }
  // The position counts the two time columns.
  write_message(fmt::format("Failed to read value {}, of line:\n{}\n", count + 2, line));
  return false;
}

/// Reads one block: two time columns, unless the file has none, and the samples.
/// Nothing in a file says whether it has time columns. Its first line tells: without them it has
/// exactly as many numbers as a block has samples.
bool AsciiKORLA::read_line(std::string_view line, std::vector<std::int32_t>& samples,
                           std::int64_t& time) {
  const char* next = line.data();
  if (first_line_) {
    first_line_ = false;
    has_stamps_ = count_numbers(next) != block_length_;
  }
  if (has_stamps_) {
    int minute = 0;
    int second = 0;
    if (!read_rounded(next, minute) || !read_rounded(next, second)) {
      return false;
    }
    time = stamp_time(minute, second);
  }
  // A first line with time columns that has lost two samples has that many numbers too, and its
  // time columns are then taken for samples. Every whole line gives the mistake away: it goes on
  // after the block's last sample.
  std::int32_t one_too_many = 0;
  return read_samples(next, line, samples) && (has_stamps_ || !read_whole(next, one_too_many));
}

int AsciiKORLA::read_record(BlockGroup& group) {
  begin(group);
  for (const std::size_t channel : channel_order_) {
    std::string_view line;
    std::int64_t time = 0;
    if (!next_data_line(line, group.after_mark)) {
      return end_data(group);
    }
    if (!read_line(line, group.samples[channel], time)) {
      ended_in_group_ = true;
      return -1;
    }
    add_block(group, time);
  }
  return 0;
}

}  // namespace KorLa
