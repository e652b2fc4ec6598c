// Reading of binary blocks.

#include "korla/korla_binary.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "korla/bytes.h"
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

}  // namespace

BinaryKORLA::BinaryKORLA(StationFile station_file, File opened, bool quiet)
    : KORLA(std::move(station_file), std::move(opened), quiet) {
  std::rewind(file());
  read_comment_line();
  block_.resize(block_length_ + (has_stamps_ ? 2 : 0));
  const std::size_t group_size = channel_order_.size() * block_.size() * sizeof(std::int16_t);
  most_samples_ = (bytes_left(file()) / group_size + 1) * block_length_;
}

/// Takes the comment line, if there is one: a leading "T" says that the blocks have no time words.
void BinaryKORLA::read_comment_line() {
  int byte = std::getc(file());
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
    write_message(fmt::format("{}: the file ends in its comment line\n", station_file().path));
    end_process(1);
  }
  block_length_ = scan_block_length(line);
  KORLA_TRACE("Comment: {}", line);
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

/// Time of the block in `block_`: minute and second, or both words as one number, high word first.
std::int64_t BinaryKORLA::block_time() {
  if (!has_stamps_) {
    return 0;
  }
  if (station_file().comment.u_flag) {
    const auto high = static_cast<std::uint16_t>(block_[1]);
    const auto low = static_cast<std::uint16_t>(block_[0]);
    return std::int64_t{high} * 65536 + low;
  }
  return stamp_time(block_[0], block_[1]);
}

int BinaryKORLA::read_record(BlockGroup& group) {
  begin(group);
  for (const std::size_t channel : channel_order_) {
    if (!read_block()) {
      return end_data(group);
    }
    group.samples[channel].assign(block_.end() - static_cast<std::ptrdiff_t>(block_length_),
                                  block_.end());
    add_block(group, block_time());
  }
  return 0;
}

}  // namespace KorLa
