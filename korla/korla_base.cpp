// Format detection, and what all series have in common.

#include "korla/korla_base.h"

#include <array>
#include <cstring>
#include <fmt/format.h>
#include <string_view>

#include "korla/bytes.h"
#include "korla/file_warnings.h"
#include "korla/korla16.h"
#include "korla/korla24.h"
#include "korla/korla_tm4.h"
#include "korla/messages.h"

namespace KorLa {

namespace {

constexpr const char* trace_module = "../../../src/korla_base";

constexpr std::size_t magic_size = 6;
constexpr std::size_t first_bytes_size = 3072;

/// What the first bytes of a file say about it.
enum class Format { ko24, station_16_bit, tm4, none };

/// The first bytes of a file; what the file does not hold is zero, the last byte always is.
using FirstBytes = std::array<char, first_bytes_size>;

/// Whether the first four bytes of three blocks agree: the time words that the three channels of a
/// group share. A place beyond the buffer agrees with nothing.
bool blocks_repeat(const FirstBytes& bytes, std::size_t first, std::size_t distance) {
  if (first + 2 * distance + 4 > bytes.size()) {
    return false;
  }
  const char* block = bytes.data() + first;
  return std::memcmp(block, block + distance, 4) == 0 &&
         std::memcmp(block, block + 2 * distance, 4) == 0;
}

std::size_t count_fields(std::string_view line) {
  constexpr std::string_view white = " \t\r\n\v\f";
  std::size_t count = 0;
  std::size_t start = line.find_first_not_of(white);
  while (start != std::string_view::npos) {
    ++count;
    const std::size_t end = line.find_first_of(white, start);
    start = end == std::string_view::npos ? end : line.find_first_not_of(white, end);
  }
  return count;
}

/// Tells the text formats apart by the line after the comment line: a TM4 line has a time and
/// three or more channels, a 16-bit line at least a block of 128 samples.
Format detect_text(std::string_view data) {
  const std::size_t fields = count_fields(data.substr(0, data.find('\n')));
  if (fields >= 4 && fields <= 127) {
    KORLA_TRACE("Trying text TM4\n");
    return Format::tm4;
  }
  KORLA_TRACE("Trying text !S512\n");
  return Format::station_16_bit;
}

/// Tells files apart that start with "!S512" or "!S128". The block tests go by what the bytes show,
/// not by which of the two lengths the comment names.
Format detect_16_bit(const FirstBytes& bytes) {
  const std::string_view text(bytes.data(), bytes.size());
  const std::size_t line_end = text.find_first_of("\r\n");
  if (line_end == std::string_view::npos) {
    return Format::none;
  }
  std::size_t next = line_end + 1;
  if (bytes[line_end] == '\r') {
    if (blocks_repeat(bytes, next, 1028)) {
      KORLA_TRACE("Trying binary !S512\n");
      return Format::station_16_bit;
    }
    if (blocks_repeat(bytes, next, 260)) {
      KORLA_TRACE("Trying binary !S128\n");
      return Format::station_16_bit;
    }
    if (bytes[next] != '\n') {  // the buffer's last byte is no line end, so there is a next one
      return Format::station_16_bit;
    }
    ++next;
  }
  return detect_text(std::string_view(bytes.data() + next));
}

Format detect_format(const std::string& path, std::FILE* file) {
  FirstBytes bytes;
  if (read_bytes(file, path, bytes.data(), magic_size) < magic_size) {
    return Format::station_16_bit;
  }
  const std::string_view magic(bytes.data(), magic_size);
  if (magic.starts_with("ko24")) {
    KORLA_TRACE("Trying ko24\n");
    return Format::ko24;
  }
  const std::size_t rest = bytes.size() - 1 - magic_size;
  const std::size_t count = magic_size + read_bytes(file, path, bytes.data() + magic_size, rest);
  bytes.back() = '\0';
  if (!magic.starts_with("!S512") && !magic.starts_with("!S128")) {
    return Format::station_16_bit;
  }
  const Format format = detect_16_bit(bytes);
  if (format == Format::none) {
    warn_of_unusable_start(path, {bytes.data(), count}, bytes_left(file) == 0);
  }
  return format;
}

}  // namespace

double Korla_Base::scaled_value(std::int32_t raw, const ChannelDescriptor& channel) const {
  return static_cast<double>(raw) * channel.range_high * channel.scale;
}

int Korla_Base::format_id() const {
  return 0;
}

double Korla_Base::start_time() const {
  return header.start_nsec / 1e9 + header.start_sec;
}

std::unique_ptr<Korla_Base> open_series(const std::string& path, [[maybe_unused]] double name_time,
                                        bool nudge) {
  File file = open_for_reading(path.c_str());
  if (!file) {
    return nullptr;
  }
  const Format format = detect_format(path, file.get());
  file.reset();
  switch (format) {
    case Format::ko24:
      return std::make_unique<KORLA24>(path, nudge);
    case Format::station_16_bit:
      return std::make_unique<KORLA16>(path, name_time);
    case Format::tm4:
      return std::make_unique<KORLA_TM4>(path, name_time);
    case Format::none:
      break;
  }
  return nullptr;
}

const char* version_line() {
  return "libkorla Ver: " KORLA_DESCRIPTION;
}

}  // namespace KorLa
