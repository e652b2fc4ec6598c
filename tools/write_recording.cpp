// Composing of text, binary and TM4 station files.

#include "tools/write_recording.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace recording {

namespace {

struct NamedFormat {
  std::string_view name;
  Format format;
};

constexpr std::array<NamedFormat, 11> formats = {{
    {"ko24-0", Format::ko24_0},
    {"ko24-1", Format::ko24_1},
    {"ko24-2", Format::ko24_2},
    {"text", Format::text},
    {"text-crlf", Format::text_crlf},
    {"text-form1", Format::text_form1},
    {"text-form2", Format::text_form2},
    {"binary", Format::binary},
    {"binary-plain", Format::binary_plain},
    {"binary-u", Format::binary_u},
    {"tm4", Format::tm4},
}};

bool is_ko24(Format format) {
  return format == Format::ko24_0 || format == Format::ko24_1 || format == Format::ko24_2;
}

bool is_binary(Format format) {
  return format == Format::binary || format == Format::binary_plain || format == Format::binary_u;
}

/// Whether anything in a file of the format shows the time of its samples.
bool has_times(Format format) {
  return !is_ko24(format) && format != Format::binary_plain;
}

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw std::runtime_error(fmt::format("Can't write {}: {}", path, why));
}

/// The name that readers turn back into the station's number; null if no name does.
const char* station_name(std::uint8_t station) {
  const auto name = KorLa::station_names.find(station);
  if (name == KorLa::station_names.end()) {
    return nullptr;
  }
  const auto number = KorLa::station_numbers.find(std::string_view(name->second));
  const bool same = number != KorLa::station_numbers.end() && number->second.number == station;
  return same ? name->second : nullptr;
}

std::size_t block_length(const Storage& storage) {
  return storage.block_length.value_or(has_full_comment(storage.format) ? 512 : 128);
}

void check(const std::string& path, const Recording& recording, const Storage& storage) {
  const Format format = storage.format;
  const std::size_t n_channels = recording.samples.size();
  if (format == Format::tm4 ? n_channels < 3 || n_channels > 126 : n_channels != 3) {
    refuse(path, fmt::format("the format has no room for {} channels", n_channels));
  }
  constexpr double latest = std::numeric_limits<std::uint32_t>::max();
  if (!(recording.start >= 0.0 && recording.start < latest)) {
    refuse(path, fmt::format("the format has no start time {}", recording.start));
  }
  if (has_full_comment(format) && station_name(recording.station) == nullptr) {
    refuse(path, fmt::format("no name stands for station {}", recording.station));
  }
  if (format == Format::binary_plain && recording.sampling_frequency != 18.0) {
    refuse(path, "blocks without times are always of 18 Hz");
  }
  const std::size_t length = block_length(storage);
  if (length != 128 && !(length == 512 && has_full_comment(format))) {
    refuse(path, fmt::format("the format has no blocks of {} samples", length));
  }
}

/// Samples that follow one another without a gap.
struct Stretch {
  std::size_t first;
  std::size_t end;
};

/// What the gap leaves of a recording.
std::vector<Stretch> stretches(const Recording& recording, const Gap& gap) {
  const std::size_t count = recording.samples.front().size();
  if (!(gap.length > 0.0)) {
    return {{0, count}};
  }
  const auto index = [&](double time) {
    const double place = std::round(time * recording.sampling_frequency);
    return static_cast<std::size_t>(std::clamp(place, 0.0, static_cast<double>(count)));
  };
  return {{0, index(gap.start)}, {index(gap.start + gap.length), count}};
}

/// A file of 16-bit blocks as it is composed, or a TM4 file.
class Composer {
 public:
  Composer(const Recording& recording, const Storage& storage)
      : recording_(recording),
        format_(storage.format),
        block_length_(block_length(storage)),
        start_(static_cast<std::int64_t>(std::floor(recording.start))) {}

  /// The bytes of the whole file.
  std::string compose(const std::vector<Stretch>& pieces) {
    bytes_ = comment();
    end_line();
    for (const Stretch& piece : pieces) {
      if (format_ == Format::tm4) {
        add_lines(piece);
      } else {
        add_blocks(piece);
      }
    }
    return std::move(bytes_);
  }

 private:
  std::string comment() const {
    const double frequency = recording_.sampling_frequency;
    switch (format_) {
      case Format::text_form1:
        return fmt::format("!Tidserier {} 1", frequency);
      case Format::text_form2:
        return fmt::format("!Tidserier  sampfrek: {} gain: 1", frequency);
      case Format::binary_plain:
        return "Tidserier";
      default:
        return fmt::format(
            "!{}{}Tidserier sampfrek: {} gain: 1 station: {} date: {:%Y-%m-%d} "
            "time: {:%H:%M:%S}",
            format_ == Format::binary_u ? 'U' : 'S', block_length_, frequency,
            station_name(recording_.station), fmt::gmtime(start_), fmt::gmtime(start_));
    }
  }

  void end_line() {
    bytes_ += is_binary(format_) ? "\r" : format_ == Format::text_crlf ? "\r\n" : "\n";
  }

  void add_blocks(const Stretch& piece) {
    if (piece.first > 0 && !is_binary(format_)) {
      bytes_ += "!Timegap";
      end_line();
    }
    for (std::size_t i = piece.first; i + block_length_ <= piece.end; i += block_length_) {
      for (const std::vector<std::int32_t>& channel : recording_.samples) {
        add_stamp(i);
        add_block(channel.data() + i);
      }
    }
  }

  /// The time of the block that begins at a sample, in whole seconds.
  void add_stamp(std::size_t sample) {
    const double place = static_cast<double>(sample) / recording_.sampling_frequency;
    // A hair more, so that rounding does not take a block that is in time for one that is not.
    const std::int64_t time = start_ + static_cast<std::int64_t>(std::floor(place + 1e-6));
    const auto minute = static_cast<int>(time / 60 % 1440);
    const auto second = static_cast<int>(time % 60);
    switch (format_) {
      case Format::binary:
        add_word(minute);
        add_word(second);
        break;
      case Format::binary_u:
        add_word(static_cast<int>(time & 0xffff));
        add_word(static_cast<int>(time >> 16 & 0xffff));
        break;
      case Format::binary_plain:
        break;
      default:
        fmt::format_to(std::back_inserter(bytes_), "{} {}", minute, second);
    }
  }

  void add_block(const std::int32_t* samples) {
    for (std::size_t i = 0; i < block_length_; ++i) {
      const int value = std::clamp(samples[i], -32768, 32767);
      if (is_binary(format_)) {
        add_word(value);
      } else {
        fmt::format_to(std::back_inserter(bytes_), " {}", value);
      }
    }
    if (!is_binary(format_)) {
      end_line();
    }
  }

  /// The lower 16 bits of a value, lower byte first.
  void add_word(int value) {
    bytes_ += static_cast<char>(value & 0xff);
    bytes_ += static_cast<char>(value >> 8 & 0xff);
  }

  void add_lines(const Stretch& piece) {
    for (std::size_t i = piece.first; i < piece.end; ++i) {
      // Readers take the frequency from the first two times: so many digits give it back exactly.
      const double time = static_cast<double>(i) / recording_.sampling_frequency;
      fmt::format_to(std::back_inserter(bytes_), "{:.17f}", time);
      for (const std::vector<std::int32_t>& channel : recording_.samples) {
        fmt::format_to(std::back_inserter(bytes_), " {}", channel[i]);
      }
      end_line();
    }
  }

  const Recording& recording_;
  Format format_;
  std::size_t block_length_;
  std::int64_t start_;
  std::string bytes_;
};

}  // namespace

std::optional<Format> find_format(std::string_view name) {
  for (const NamedFormat& each : formats) {
    if (each.name == name) {
      return each.format;
    }
  }
  return std::nullopt;
}

std::string format_names() {
  std::string names;
  for (const NamedFormat& each : formats) {
    names += names.empty() ? "" : " ";
    names += each.name;
  }
  return names;
}

bool has_full_comment(Format format) {
  return format == Format::text || format == Format::text_crlf || format == Format::binary ||
         format == Format::binary_u || format == Format::tm4;
}

void write_recording(const std::string& path, const Recording& recording, const Storage& storage) {
  if (storage.gap.length > 0.0 && !has_times(storage.format)) {
    refuse(path, "the format has no room for a gap");
  }
  if (is_ko24(storage.format)) {
    write_ko24(path, recording,
               static_cast<int>(storage.format) - static_cast<int>(Format::ko24_0));
    return;
  }
  check(path, recording, storage);
  const std::vector<Stretch> pieces = stretches(recording, storage.gap);
  // Readers date a file by its first block, or by its first two lines.
  const std::size_t least = storage.format == Format::tm4 ? 2 : block_length(storage);
  if (pieces.size() > 1 && pieces.front().end < least) {
    refuse(path, "the gap begins too early");
  }
  write_file(path, Composer(recording, storage).compose(pieces));
}

}  // namespace recording
