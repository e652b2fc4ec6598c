// Opening, filling and closing of result files.

#include "src/result_stream.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <unistd.h>

#include "src/console.h"
#include "src/number_text.h"
#include "src/settings.h"
#include "src/stop_signals.h"

namespace tavrik {

namespace {

constexpr std::size_t usual_buffer = 65536;

void report_lost_lines(ResultStream& stream) {
  stream.failed = true;
  report_lost(stream.file);
}

/// Writes bytes to the file; a signal that is to end the run ends a wait for a slow reader. Returns
/// how many were written.
std::size_t write_bytes(int descriptor, std::string_view bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = write(descriptor, bytes.data() + done, bytes.size() - done);
    if (written > 0) {
      done += static_cast<std::size_t>(written);
    } else if (written == 0 || errno != EINTR || stop_signal() != 0) {
      break;
    }
  }
  return done;
}

/// Hands the first bytes of the buffer to the system.
void write_lines(ResultStream& stream, std::size_t count) {
  const std::string_view lines(stream.buffer.data(), count);
  if (!stream.failed) {
    const std::size_t written = write_bytes(stream.file.descriptor, lines);
    // After a failed write the file ends at a line end, too.
    const std::size_t whole = written < count ? lines.substr(0, written).rfind('\n') + 1 : written;
    stream.size += static_cast<off_t>(whole);
    if (written < count) {
      report_lost_lines(stream);
    }
  }
  stream.used -= count;
  std::memmove(stream.buffer.data(), stream.buffer.data() + count, stream.used);
}

/// Room for `size` bytes after what waits in the buffer.
char* reserve(ResultStream& stream, std::size_t size) {
  if (stream.used + size > stream.buffer.size()) {
    flush_result(stream);
  }
  if (stream.used + size > stream.buffer.size()) {
    stream.buffer.resize(2 * (stream.used + size));  // a line longer than the buffer
  }
  return stream.buffer.data() + stream.used;
}

/// Writes a number at a place with room for longest_number bytes. Returns where it ends.
char* write_number(char* place, double value, std::chars_format format, int precision) {
  if (std::isnan(value)) {
    return std::copy_n("nan", 3, place);  // whatever the NaN's sign
  }
  return format == std::chars_format::fixed ? write_fixed(place, value, precision)
                                            : write_general(place, value);
}

/// Marks what was written up to `end` as used.
void use_up_to(ResultStream& stream, const char* end) {
  stream.used = static_cast<std::size_t>(end - stream.buffer.data());
}

/// A NaN of a column, as the NaN filter leaves it.
double filtered(ResultStream& stream, std::size_t column, double value) {
  if (settings.nan_handler == keep_nan) {
    return value;
  }
  return stream.nans.at(column)++ == 0 ? settings.nan_handler(value) : 0.0;
}

/// Says how many values were no numbers, beyond those that the filter has told of.
void tell_nans(const ResultStream& stream) {
  for (std::size_t column = 0; column < stream.nans.size(); ++column) {
    const std::size_t count = stream.nans[column];
    if (count > 1) {
      warn("WARNING: {}: {} more Nan in column {}, written as 0\n", stream.file.result.path,
           count - 1, column);
    }
  }
}

}  // namespace

std::string result_path(const std::string& data_path, const char* extension) {
  return boost::filesystem::path(data_path).replace_extension(extension).string();
}

bool open_result(ResultStream& stream, const std::string& data_path, const char* extension) {
  stream = ResultStream();
  stream.buffer.resize(usual_buffer);
  stream.file = open_output({result_path(data_path, extension), data_path});
  return stream.is_open();
}

void put(ResultStream& stream, std::string_view text) {
  char* place = reserve(stream, text.size());
  stream.used += static_cast<std::size_t>(std::copy(text.begin(), text.end(), place) - place);
}

void put_fixed(ResultStream& stream, double value, int precision) {
  char* place = reserve(stream, longest_number);
  use_up_to(stream, write_number(place, value, std::chars_format::fixed, precision));
}

void put_general(ResultStream& stream, double value) {
  char* place = reserve(stream, longest_number);
  use_up_to(stream, write_number(place, value, std::chars_format::general, 6));
}

void put_filtered(ResultStream& stream, std::chars_format format, std::size_t column,
                  std::span<const double> values) {
  char* place = reserve(stream, values.size() * (1 + longest_number));
  for (const double value : values) {
    *place++ = ' ';
    place =
        write_number(place, std::isnan(value) ? filtered(stream, column, value) : value, format, 6);
    ++column;
  }
  use_up_to(stream, place);
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
  if (!stream.is_open()) {
    return;
  }
  const std::string_view waiting(stream.buffer.data(), stream.used);
  write_lines(stream, waiting.rfind('\n') + 1);
}

void finish_result(ResultStream& stream) {
  if (!stream.is_open()) {
    return;
  }
  write_lines(stream, stream.used);
  tell_nans(stream);
  if (stream.failed || !finish_output(stream.file)) {
    abandon_output(stream.file, stream.size);
  }
}

void abandon_result(ResultStream& stream) {
  if (stream.is_open()) {
    flush_result(stream);
    tell_nans(stream);
    abandon_output(stream.file, stream.size);
  }
}

}  // namespace tavrik
