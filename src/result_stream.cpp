// Opening, filling and closing of result files.

#include "src/result_stream.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <unistd.h>

#include "korla/bytes.h"

#include "src/console.h"
#include "src/settings.h"

namespace tavrik {

namespace {

constexpr std::size_t buffer_size = 65536;
/// No number takes more: the largest double has 309 digits before the point, and 6 follow it.
constexpr std::size_t longest_number = 400;

void report_lost_lines(ResultStream& stream) {
  stream.failed = true;
  result_state.output_lost = true;
  warn("Can't write {}\n", stream.path);
}

/// Writes bytes to the file, unless a write has failed before.
void write_bytes(ResultStream& stream, const char* next, std::size_t left) {
  while (left > 0 && !stream.failed) {
    const ssize_t written = write(stream.descriptor, next, left);
    if (written > 0) {
      next += written;
      left -= static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR) {
      report_lost_lines(stream);
    }
  }
}

/// Room for `size` bytes, at most those of the whole buffer, after what waits there.
char* reserve(ResultStream& stream, std::size_t size) {
  if (stream.used + size > stream.buffer.size()) {
    flush_result(stream);
  }
  return stream.buffer.data() + stream.used;
}

void put_number(ResultStream& stream, double value, std::chars_format format, int precision) {
  if (std::isnan(value)) {
    put(stream, "nan");  // whatever the NaN's sign
    return;
  }
  char* place = reserve(stream, longest_number);
  const auto result = std::to_chars(place, place + longest_number, value, format, precision);
  stream.used += static_cast<std::size_t>(result.ptr - place);
}

FileIdentity identity(const KorLa::FileStatus& status) {
  return {status.st_dev, status.st_ino};
}

bool is_input(const KorLa::FileStatus& status) {
  const auto& inputs = result_state.inputs;
  return std::find(inputs.begin(), inputs.end(), identity(status)) != inputs.end();
}

/// Opens a file for writing and empties it, unless it is an input; -1 on failure. The file is
/// looked at before it is emptied.
int open_emptied(const std::string& path) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) {
    return -1;
  }
  KorLa::FileStatus status{};
  if (fstat(descriptor, &status) != 0 || is_input(status) ||
      (S_ISREG(status.st_mode) && ftruncate(descriptor, 0) != 0)) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

}  // namespace

std::string result_path(const std::string& data_path, const char* extension) {
  return boost::filesystem::path(data_path).replace_extension(extension).string();
}

void protect_input(const std::string& path) {
  KorLa::FileStatus status{};
  if (stat(path.c_str(), &status) == 0) {
    result_state.inputs.push_back(identity(status));
  }
}

bool is_protected(const std::string& path) {
  KorLa::FileStatus status{};
  return stat(path.c_str(), &status) == 0 && is_input(status);
}

bool open_result(ResultStream& stream, const std::string& data_path, const char* extension) {
  stream = ResultStream();
  stream.path = result_path(data_path, extension);
  stream.descriptor = open_emptied(stream.path);
  if (!stream.is_open()) {
    warn("Can't open {}\n", stream.path);
    return false;
  }
  stream.buffer.resize(buffer_size);
  return true;
}

void put(ResultStream& stream, std::string_view text) {
  if (text.size() > stream.buffer.size()) {
    flush_result(stream);
    write_bytes(stream, text.data(), text.size());
    return;
  }
  char* place = reserve(stream, text.size());
  stream.used += static_cast<std::size_t>(std::copy(text.begin(), text.end(), place) - place);
}

void put_fixed(ResultStream& stream, double value, int precision) {
  put_number(stream, value, std::chars_format::fixed, precision);
}

void put_general(ResultStream& stream, double value) {
  put_number(stream, value, std::chars_format::general, 6);
}

void put_filtered(ResultStream& stream, std::chars_format format, std::span<const double> values) {
  for (const double value : values) {
    put(stream, " ");
    put_number(stream, settings.nan_handler(value), format, 6);
  }
}

void write_series(ResultStream& stream, std::span<const double> values) {
  if (!stream.is_open()) {
    return;
  }
  for (const double value : values) {
    put(stream, " ");
    put_general(stream, value);
  }
  put(stream, "\n");
}

void flush_result(ResultStream& stream) {
  const std::size_t size = stream.used;
  stream.used = 0;
  write_bytes(stream, stream.buffer.data(), size);
}

void close_result(ResultStream& stream) {
  if (!stream.is_open()) {
    return;
  }
  flush_result(stream);
  const int descriptor = stream.descriptor;
  stream.descriptor = -1;
  if (close(descriptor) != 0 && !stream.failed) {
    report_lost_lines(stream);
  }
}

}  // namespace tavrik
