// Reading of binary blocks.

#include "korla/korla_binary.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "korla/bytes.h"
#include "korla/calendar.h"
#include "korla/messages.h"

namespace KorLa {

namespace {

constexpr const char* trace_module = "../../../src/korla";

constexpr int dropped_byte = 127;  // what recorders pad comment lines with

/// The block length that a comment line names; 128 unless it is 512.
std::size_t scan_block_length(const std::string& comment) {
  std::size_t length = 0;
  if (std::sscanf(comment.c_str(), "!%*[!SUsu]%zu", &length) == 1 && length == 512) {
    return 512;
  }
  return 128;
}

/// The time words as one number, the second one high.
std::int64_t one_number(const Stamp& words) {
  const auto high = static_cast<std::uint16_t>(words.second);
  const auto low = static_cast<std::uint16_t>(words.minute);
  return std::int64_t{high} * 65536 + low;
}

/// Number of groups whose three blocks begin with the same time words.
std::size_t count_agreeing_groups(std::string_view bytes, std::size_t block_size) {
  std::size_t count = 0;
  for (; bytes.size() >= 3 * block_size; bytes.remove_prefix(3 * block_size)) {
    const std::string_view words = bytes.substr(0, 4);
    const bool agree = bytes.substr(block_size).starts_with(words) &&
                       bytes.substr(2 * block_size).starts_with(words);
    count += agree ? 1 : 0;
  }
  return count;
}

}  // namespace

BinaryKORLA::BinaryKORLA(StationFile station_file, File opened, bool quiet)
    : KORLA(std::move(station_file), std::move(opened), quiet) {
  std::rewind(file());
  read_comment_line();
  block_.resize(block_length_ + (has_stamps_ ? 2 : 0));
  if (has_stamps_) {
    skip_line_feed();
  }
  const std::size_t group_size = channel_order_.size() * block_.size() * sizeof(std::int16_t);
  most_samples_ = (bytes_left(file()) / group_size + 1) * block_length_;
}

/// Takes the comment line, if there is one: a leading "T" says that the blocks have no time words.
void BinaryKORLA::read_comment_line() {
  int byte = std::getc(file());
  require_read(file(), station_file().path);
  if (byte != '!' && byte != 'T') {
    std::ungetc(byte, file());
    block_length_ = 128;
    return;
  }
  has_stamps_ = byte == '!';
  std::string line;
  for (; byte != '\r' && byte != EOF; byte = std::getc(file())) {
    if (byte != dropped_byte) {
      line += static_cast<char>(byte);
    }
  }
  if (byte == EOF) {
    if (std::ferror(file()) != 0) {
      write_message(fmt::format("fgetc:{}", std::strerror(errno)));
    }
    write_message("fgetc: EOF \n");
    write_message(compose("{}: the file ends in its comment line\n", station_file().path));
    end_process(1);
  }
  block_length_ = scan_block_length(line);
  KORLA_TRACE("Comment: {}", line);
}

/// Some files end their comment line with CR LF. A byte of that value may as well be the first
/// minute's, so the blocks must show which it is.
void BinaryKORLA::skip_line_feed() {
  constexpr std::size_t looked_at = 4;
  const std::size_t block_size = block_.size() * sizeof(std::int16_t);
  std::string bytes(looked_at * channel_order_.size() * block_size + 1, '\0');
  const long start = std::ftell(file());
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file()));
  require_read(file(), station_file().path);
  const bool skip = bytes.starts_with('\n') && count_agreeing_groups(bytes.substr(1), block_size) >
                                                   count_agreeing_groups(bytes, block_size);
  if (skip) {
    warnings().say("the comment line ends with CR LF, the LF is left out");
  }
  std::fseek(file(), start + (skip ? 1 : 0), SEEK_SET);
}

/// Reads the next block into `block_`; false at the end of the file, or where it is cut short.
bool BinaryKORLA::read_block() {
  const std::size_t size = block_.size() * sizeof(std::int16_t);
  const std::size_t count = std::fread(block_.data(), 1, size, file());
  if (count == size) {
    return true;
  }
  if (count > 0 || std::ferror(file()) != 0) {
    write_message(std::feof(file()) != 0 ? "fread: EOF\n" : "fread: can't read data\n");
    ended_in_group_ = true;
  }
  return false;
}

/// Gives the group the time of its stamps. In a "!U" file these may be one number of seconds; the
/// first block shows it, since a minute of a day and a second make no number as large.
void BinaryKORLA::set_stamps(BlockGroup& group) {
  constexpr std::int64_t least = 45 * std::int64_t{seconds_per_day};
  if (first_group_) {
    absolute_stamps_ = station_file().comment.u_flag && one_number(stamps_[0]) > least;
    first_group_ = false;
  }
  if (absolute_stamps_) {
    group.time = one_number(stamps_[0]);
    group.stamps_differ = !agree(stamps_);
  } else {
    set_time(group, stamps_);
  }
}

int BinaryKORLA::read_record(BlockGroup& group) {
  for (std::size_t i = 0; i < channel_order_.size(); ++i) {
    if (!read_block()) {
      ended_in_group_ = ended_in_group_ || i > 0;
      return -1;
    }
    group.samples[channel_order_[i]].assign(
        block_.end() - static_cast<std::ptrdiff_t>(block_length_), block_.end());
    stamps_[i] = {block_[0], block_[1]};
  }
  if (has_stamps_) {
    set_stamps(group);
  }
  return 0;
}

}  // namespace KorLa
