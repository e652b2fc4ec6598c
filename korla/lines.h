#pragma once
// Lines of a text file, read through one buffer. Used by the readers of text formats.

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace KorLa {

/// Reads a file line by line. A line is a view into the buffer: it is good until the next call. A
/// line end follows it in memory, so that scanning for the end of a number needs no other bound,
/// and eight bytes more may be read, whatever they are.
class LineReader {
 public:
  /// What a call of `next` has found. After `too_long` nothing more can be read.
  enum class Found { line, end, too_long };

  /// Longest line, its end not counted.
  static constexpr std::size_t longest = 51198;

  /// file: stays the caller's; read from its current position. path: its name, for an error.
  LineReader(std::FILE* file, std::string path);

  /// Takes the next line, without CR LF or LF. The last one need not have an end. Throws
  /// std::runtime_error where the file can't be read.
  Found next(std::string_view& line) {
    const void* stop = std::memchr(buffer_.get() + begin_, '\n', end_ - begin_);
    had_end_ = true;
    return stop != nullptr ? take(static_cast<const char*>(stop), line) : read_on(line);
  }

  /// As `next`, but passes over blank lines, and over those that begin with "!", which stand for a
  /// gap in the data: `marked` becomes true for one of these and is left alone otherwise.
  Found next_data(std::string_view& line, bool& marked) {
    const Found found = next(line);
    // Blanks come before "!", and a line end follows an empty line.
    return found == Found::line && *line.data() <= '!' ? pass_over(line, marked) : found;
  }

  /// Number of the line found last, from 1.
  std::size_t number() const { return number_; }

  /// Whether the line taken last had a line end.
  bool had_end() const { return had_end_; }

 private:
  bool fill();
  Found read_on(std::string_view& line);
  Found pass_over(std::string_view& line, bool& marked);

  /// Takes the line that ends at `stop`.
  Found take(const char* stop, std::string_view& line) {
    const char* start = buffer_.get() + begin_;
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

  std::FILE* file_;
  std::string path_;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;  ///< of what is not yet taken
  std::size_t end_ = 0;    ///< of what was read
  std::size_t number_ = 0;
  bool had_end_ = false;
};

}  // namespace KorLa
