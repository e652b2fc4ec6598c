// Reading of lines.

#include "korla/lines.h"

#include <cstring>
#include <utility>

#include "korla/bytes.h"

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

LineReader::Found LineReader::next(std::string_view& line) {
  std::size_t scanned = 0;  // bytes of the line that are known to hold no line end
  const char* stop = nullptr;
  for (;;) {
    const char* start = buffer_.get() + begin_;
    const std::size_t left = end_ - begin_ - scanned;
    stop = static_cast<const char*>(std::memchr(start + scanned, '\n', left));
    if (stop != nullptr || end_ - begin_ > longest) {
      break;
    }
    scanned += left;
    if (!fill()) {
      break;
    }
  }
  const char* start = buffer_.get() + begin_;
  std::size_t length = stop != nullptr ? static_cast<std::size_t>(stop - start) : end_ - begin_;
  if (length > longest) {
    ++number_;
    return Found::too_long;
  }
  had_end_ = stop != nullptr;
  if (!had_end_) {
    if (length == 0) {
      return Found::end;
    }
    buffer_[end_] = '\n';
  }
  begin_ += length + (had_end_ ? 1 : 0);
  ++number_;
  if (length > 0 && start[length - 1] == '\r') {
    --length;
  }
  line = std::string_view(start, length);
  return Found::line;
}

LineReader::Found LineReader::next_data(std::string_view& line, bool& marked) {
  for (;;) {
    const Found found = next(line);
    if (found != Found::line) {
      return found;
    }
    if (line.starts_with('!')) {
      marked = true;
    } else if (line.find_first_not_of(" \t") != std::string_view::npos) {
      return found;
    }
  }
}

}  // namespace KorLa
