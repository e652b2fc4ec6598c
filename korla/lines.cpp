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

/// The place of the next line end; null where the file ends before, or the line is too long. Then
/// what is left of the line lies in the buffer.
const char* LineReader::find_end() {
  std::size_t scanned = 0;  // bytes of the line that are known to hold no line end
  for (;;) {
    const char* start = buffer_.get() + begin_;
    const std::size_t left = end_ - begin_ - scanned;
    const auto* stop = static_cast<const char*>(std::memchr(start + scanned, '\n', left));
    if (stop != nullptr || end_ - begin_ > longest) {
      return stop;
    }
    scanned += left;
    if (!fill()) {
      return nullptr;
    }
  }
}

LineReader::Found LineReader::next(std::string_view& line) {
  const char* stop = find_end();
  const char* start = buffer_.get() + begin_;
  had_end_ = stop != nullptr;
  if (!had_end_) {
    if (begin_ == end_) {
      return Found::end;
    }
    stop = buffer_.get() + end_;
    buffer_[end_] = '\n';
  }
  auto length = static_cast<std::size_t>(stop - start);
  ++number_;
  if (length > longest) {
    return Found::too_long;
  }
  begin_ += length + (had_end_ ? 1 : 0);
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
    } else if (skip_blanks(line.data()) < line.data() + line.size()) {
      return found;
    }
  }
}

}  // namespace KorLa
