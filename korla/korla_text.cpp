// Grouping of text lines.

#include "korla/korla_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "korla/bytes.h"

namespace KorLa {

namespace {

constexpr std::size_t group_size = 3;

/// Most blocks of one stamp that are looked at together: those of a second, at any rate there is.
constexpr std::size_t longest_run = 100 * group_size;

/// Moves to where the data lines begin: the comment line may end with CR LF.
std::FILE* at_data(std::FILE* file, std::size_t offset) {
  std::fseek(file, static_cast<long>(offset) - 1, SEEK_SET);
  if (std::getc(file) == '\r') {
    const int byte = std::getc(file);
    if (byte != '\n') {
      std::ungetc(byte, file);
    }
  }
  return file;
}

/// Whether a line is its predecessor once more. Two dead channels look alike too.
bool is_doubled(const TextBlock& block, const TextBlock& before) {
  const auto constant = [](const std::vector<std::int32_t>& samples) {
    return std::ranges::adjacent_find(samples, std::ranges::not_equal_to()) == samples.end();
  };
  return block.samples == before.samples && !constant(block.samples);
}

}  // namespace

AsciiKORLA::AsciiKORLA(StationFile station_file, File opened, bool quiet)
    : KORLA(std::move(station_file), std::move(opened), quiet),
      blocks_(at_data(file(), KORLA::station_file().data_offset), block_length_, warnings()) {
  has_stamps_ = blocks_.has_stamps();
  // The shortest sample is a digit and what separates it from the next.
  most_samples_ = bytes_left(file()) / 2 / group_size + 1;
}

/// Reads on until `count` blocks lie ahead; false where the file has fewer.
bool AsciiKORLA::read_ahead(std::size_t count) {
  for (; n_ahead_ < count; ++n_ahead_) {
    if (ahead_.size() == n_ahead_) {
      ahead_.emplace_back();
    }
    if (!blocks_.next(ahead_[n_ahead_])) {
      return false;
    }
  }
  return true;
}

/// Number of blocks from `first` on that carry the same stamp, at most `most`.
std::size_t AsciiKORLA::count_equal_stamps(std::size_t first, std::size_t most) {
  std::size_t count = 0;
  while (count < most && read_ahead(first + count + 1) &&
         ahead_[first + count].stamp == ahead_[first].stamp) {
    ++count;
  }
  return count;
}

bool AsciiKORLA::begins_group(std::size_t first) {
  return count_equal_stamps(first, group_size) == group_size;
}

/// Takes blocks out of those ahead. What is left moves up; the memory stays.
void AsciiKORLA::drop(std::size_t first, std::size_t count) {
  for (std::size_t i = first + count; i < n_ahead_; ++i) {
    std::swap(ahead_[i - count], ahead_[i]);
  }
  n_ahead_ -= count;
}

/// Drops `surplus` doubled lines of the first `run`; false, and nothing, if there are fewer.
bool AsciiKORLA::drop_doubled(std::size_t run, std::size_t surplus) {
  std::vector<std::size_t> doubled;
  for (std::size_t i = run - 1; i > 0 && doubled.size() < surplus; --i) {
    if (is_doubled(ahead_[i], ahead_[i - 1])) {
      doubled.push_back(i);
    }
  }
  if (doubled.size() < surplus) {
    return false;
  }
  for (const std::size_t i : doubled) {
    warnings().repeat("it is the line before once more, left out", ahead_[i].line);
    drop(i, 1);
  }
  return true;
}

/// Number of blocks ahead that belong to groups with a line too few or too many, and are followed
/// by a group that is whole. Several groups may carry one stamp, if blocks are shorter than a
/// second. Stamps that differ in any other way are damaged themselves, and the lines are good. A
/// group that is only too long by doubled lines is mended.
std::size_t AsciiKORLA::count_out_of_step() {
  const std::size_t run = count_equal_stamps(0, longest_run);
  if (run >= group_size) {
    const std::size_t surplus = run % group_size;
    return surplus != 0 && !drop_doubled(run, surplus) && begins_group(run) ? run : 0;
  }
  for (std::size_t next = run; next > 0 && next < group_size; ++next) {
    if (begins_group(next) && ahead_[next].stamp != ahead_[0].stamp) {
      return next;
    }
  }
  return 0;
}

/// Leaves out groups that are not whole; true if there are any.
bool AsciiKORLA::bring_in_step() {
  bool any = false;
  for (std::size_t count = count_out_of_step(); count > 0; count = count_out_of_step()) {
    warnings().repeat("the group that begins here has too few or too many lines, left out",
                      ahead_[0].line);
    drop(0, count);
    any = true;
  }
  return any;
}

/// Takes the next three blocks.
void AsciiKORLA::take_group(BlockGroup& group) {
  std::array<Stamp, group_size> stamps;
  group.after_mark = false;
  for (std::size_t i = 0; i < group_size; ++i) {
    TextBlock& block = ahead_[i];
    group.samples[channel_order_[i]].swap(block.samples);
    group.after_mark = group.after_mark || block.after_mark;
    group.after_loss = group.after_loss || block.after_damage;
    stamps[i] = block.stamp;
  }
  drop(0, group_size);
  if (has_stamps_) {
    set_time(group, stamps);
  }
}

int AsciiKORLA::read_record(BlockGroup& group) {
  group.after_loss = has_stamps_ && bring_in_step();
  if (!read_ahead(group_size)) {
    ended_in_group_ = n_ahead_ > 0 || blocks_.ended_in_damage();
    return -1;
  }
  take_group(group);
  return 0;
}

}  // namespace KorLa
