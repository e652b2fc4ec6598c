// Reading of lines.

#include "korla/lines.h"

#include <cstring>
#include <utility>

#include "korla/bytes.h"
#include "korla/numbers.h"

namespace KorLa {

namespace {

constexpr std::size_t buffer_size = 65536;
/// Follows the buffer: a line end, and what may be read after it.
constexpr std::size_t spare = 1 + 8;

}  // namespace

LineReader::LineReader(std::FILE* file, std::string path)
    : file_(file),
      path_(std::move(path)),
      buffer_(std::make_unique_for_overwrite<char[]>(buffer_size + spare)) {}

/// Moves what is left to the buffer's front and reads on after it; false at the end of the file.
bool LineReader::fill() {
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  const std::size_t room = buffer_size - end_;
  const std::size_t count = std::fread(buffer_.get() + end_, 1, room, file_);
  if (count < room) {
    require_read(file_, path_);
  }
  end_ += count;
  return count > 0;
}

/// Reads until there is a line end, and takes the line; or what there is of one that the file's end
/// cuts off, or that is too long.
LineReader::Found LineReader::read_on(std::string_view& line) {
  while (end_ - begin_ <= longest) {
    const std::size_t scanned = end_ - begin_;  // bytes that are known to hold no line end
    if (!fill()) {
      break;
    }
    const char* start = buffer_.get() + begin_ + scanned;
    const void* stop = std::memchr(start, '\n', end_ - begin_ - scanned);
    if (stop != nullptr) {
      return take(static_cast<const char*>(stop), line);
    }
  }
  had_end_ = false;
  if (begin_ == end_) {
    return Found::end;
  }
  buffer_[end_] = '\n';
  return take(buffer_.get() + end_, line);
}

/// Passes over the line that was found, and those after it, until one holds data.
LineReader::Found LineReader::pass_over(std::string_view& line, bool& marked) {
  Found found = Found::line;
  while (found == Found::line) {
    if (line.starts_with('!')) {
      marked = true;
    } else if (skip_blanks(line.data()) < line.data() + line.size()) {
      return found;
    }
    found = next(line);
  }
  return found;
}

}  // namespace KorLa
