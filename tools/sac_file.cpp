// SAC files: a header of 4-byte numbers and texts, the samples, and in version 7 a footer that has
// the most important numbers in double precision.

#include "tools/sac_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>

#include "korla/calendar.h"

// Numbers are read as the bytes that they are in memory.
static_assert(std::endian::native == std::endian::little);

namespace traces {

namespace {

// Places of the header's 4-byte numbers, counted from 0.
constexpr std::size_t interval_word = 0;
constexpr std::size_t begin_word = 5;
constexpr std::size_t latitude_word = 31;
constexpr std::size_t longitude_word = 32;
constexpr std::size_t year_word = 70;  // then day of the year, hour, minute, second, millisecond
constexpr std::size_t version_word = 76;
constexpr std::size_t count_word = 79;
constexpr std::size_t type_word = 85;
constexpr std::size_t even_word = 105;

// Places of its texts, of 8 bytes each.
constexpr std::size_t station_byte = 440;
constexpr std::size_t location_byte = 464;
constexpr std::size_t channel_byte = 600;
constexpr std::size_t network_byte = 608;

// Places of the footer's 8-byte numbers.
constexpr std::size_t interval_double = 0;
constexpr std::size_t begin_double = 1;
constexpr std::size_t longitude_double = 18;
constexpr std::size_t latitude_double = 19;
constexpr std::size_t footer_size = std::size_t{22} * 8;

constexpr double undefined = -12345.0;
constexpr std::int32_t time_series = 1;

template <class Number>
Number number_at(std::string_view bytes, std::size_t place, bool swapped) {
  std::array<char, sizeof(Number)> value{};
  std::memcpy(value.data(), bytes.data() + place, sizeof(Number));
  if (swapped) {
    std::reverse(value.begin(), value.end());
  }
  return std::bit_cast<Number>(value);
}

bool is_version(std::int32_t version) {
  return version >= 1 && version <= 20;  // those that there may ever be
}

std::int32_t version_of(std::string_view bytes, bool swapped) {
  return number_at<std::int32_t>(bytes, 4 * version_word, swapped);
}

/// A SAC file's numbers and texts.
class SacFile {
 public:
  SacFile(const std::string& path, std::string_view bytes)
      : path_(path), bytes_(bytes), swapped_(!is_version(version_of(bytes, false))) {
    const std::int32_t version = version_of(bytes, swapped_);
    if (version != 6 && version != 7) {
      refuse(fmt::format("SAC header version {}, only 6 and 7 can be read", version));
    }
    has_footer_ = version == 7;
    if (whole(type_word) != time_series || whole(even_word) != 1) {
      refuse("not a series of evenly spaced samples");
    }
    check_size();
  }

  std::string text(std::size_t place) const {
    std::string_view text = bytes_.substr(place, 8);
    text = text.substr(0, text.find('\0'));
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    return text.starts_with("-12345") ? "" : std::string(text);
  }

  std::optional<Place> place() const {
    const Place place{real(latitude_word, latitude_double), real(longitude_word, longitude_double)};
    if (place.latitude == undefined || place.longitude == undefined) {
      return std::nullopt;
    }
    return place;
  }

  /// Microseconds since 1970 of the first sample; no_start without a date from 1970 to 2106.
  std::int64_t start() const {
    constexpr double longest = 1e9;  // seconds from the reference time; three decades
    constexpr std::array<std::int32_t, 6> least = {1970, 1, 0, 0, 0, 0};
    constexpr std::array<std::int32_t, 6> most = {2106, 366, 23, 59, 60, 999};
    for (std::size_t i = 0; i < most.size(); ++i) {
      if (whole(year_word + i) < least.at(i) || whole(year_word + i) > most.at(i)) {
        return no_start;
      }
    }
    const double begin = real(begin_word, begin_double);
    if (!(std::fabs(begin) <= longest) || begin == undefined) {
      return no_start;
    }
    // A day of the year is one of January, counted on.
    const std::int64_t reference = KorLa::utc_seconds({.year = whole(year_word),
                                                       .day = whole(year_word + 1),
                                                       .hour = whole(year_word + 2),
                                                       .minute = whole(year_word + 3),
                                                       .second = whole(year_word + 4)});
    return reference * 1000000 + std::int64_t{whole(year_word + 5)} * 1000 +
           std::llround(begin * 1e6);
  }

  /// The frequency with the fewest decimals among those that the interval can stand for: 18 Hz have
  /// an interval of 0.0555555..., which is stored with the precision of its type.
  double frequency() const {
    const double interval = real(interval_word, interval_double);
    const double precision = has_footer_ ? 1e-12 : 0x1p-24;
    for (const double unit : {1.0, 10.0, 100.0, 1e3, 1e4, 1e5, 1e6}) {
      const double rounded = std::round(unit / interval) / unit;
      if (std::fabs(rounded * interval - 1.0) <= precision) {
        return rounded;
      }
    }
    return 1.0 / interval;
  }

  std::vector<double> samples() const {
    std::vector<double> samples(static_cast<std::size_t>(whole(count_word)));
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] = number_at<float>(bytes_, sac_header_size + 4 * i, swapped_);
    }
    return samples;
  }

 private:
  [[noreturn]] void refuse(const std::string& why) const {
    throw std::runtime_error(fmt::format("{}: {}", path_, why));
  }

  void check_size() const {
    const std::int32_t count = whole(count_word);
    if (count <= 0) {
      refuse(fmt::format("its header promises {} samples", count));
    }
    const std::size_t promised = sac_header_size +
                                 std::size_t{4} * static_cast<std::size_t>(count) +
                                 (has_footer_ ? footer_size : 0);
    if (promised != bytes_.size()) {
      refuse(fmt::format("its header promises {} samples in {} bytes, the file has {} bytes", count,
                         promised, bytes_.size()));
    }
  }

  std::int32_t whole(std::size_t word) const {
    return number_at<std::int32_t>(bytes_, 4 * word, swapped_);
  }

  /// The footer's number, or the header's where there is no footer.
  double real(std::size_t word, std::size_t footer_number) const {
    if (has_footer_) {
      const std::size_t footer = bytes_.size() - footer_size;
      return number_at<double>(bytes_, footer + 8 * footer_number, swapped_);
    }
    return number_at<float>(bytes_, 4 * word, swapped_);
  }

  const std::string& path_;
  std::string_view bytes_;
  bool swapped_;
  bool has_footer_ = false;
};

}  // namespace

bool begins_as_sac(std::string_view bytes) {
  return bytes.size() >= sac_header_size &&
         (is_version(version_of(bytes, false)) || is_version(version_of(bytes, true)));
}

Trace read_sac(const std::string& path, std::string_view bytes) {
  const SacFile file(path, bytes);
  return {.name = {file.text(network_byte), file.text(station_byte), file.text(location_byte),
                   file.text(channel_byte)},
          .file = path,
          .start = file.start(),
          .frequency = file.frequency(),
          .samples = file.samples(),
          .place = file.place()};
}

}  // namespace traces
