#pragma once
// The series that every station format is read into, and the one entry that opens a station file of
// any format. Start here.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KorLa {

/// Head of a series, and byte for byte the head of a ko24 file (little-endian, no padding).
struct [[gnu::packed]] SeriesHeader {
  std::array<char, 4> magic{};               ///< "ko24"
  std::uint8_t version = 0;                  ///< 0, 1 or 2
  std::uint8_t station = 0;                  ///< key of `station_names`
  std::uint16_t header_size = 0;             ///< as stored; version 1 files: 4 more than stored
  std::uint32_t start_sec = 0;               ///< whole seconds since 1970 UTC
  std::uint32_t start_nsec = 0;              ///< nanoseconds on top of start_sec
  std::uint32_t sample_code = 0;             ///< coding of the samples; kept, not used
  std::uint8_t n_channels = 0;               ///< number of channels
  std::uint8_t reserved = 0;                 ///< kept, not used
  double sampling_frequency = 0;             ///< samples per second of one channel
  std::uint8_t bits_per_sample = 0;          ///< kept, not used
  std::uint8_t bytes_per_sample = 0;         ///< kept, not used
  std::array<std::uint8_t, 8> extra_time{};  ///< extension of version 1 (4 bytes) and 2 (8 bytes)
};

static_assert(sizeof(SeriesHeader) == 40);

/// One channel's description, byte for byte as in a ko24 file.
struct [[gnu::packed]] ChannelDescriptor {
  std::array<char, 4> magic{};  ///< "chan"
  std::uint16_t index = 0;      ///< channel number from 0
  std::uint16_t flags = 0;
  double range_low = 0;   ///< lower end of the recorder's input range
  double range_high = 0;  ///< upper end of the recorder's input range
  double scale = 0;       ///< factor on top of range_high
};

static_assert(sizeof(ChannelDescriptor) == 32);

/// A loaded series. The subclasses' constructors read the whole file, so that an object that exists
/// is complete; a malformed file throws std::runtime_error with the whole message.
class Korla_Base {
 public:
  Korla_Base() = default;
  Korla_Base(const Korla_Base&) = delete;
  Korla_Base& operator=(const Korla_Base&) = delete;
  virtual ~Korla_Base() = default;

  /// A raw sample in the unit of its channel: raw * range_high * scale.
  virtual double scaled_value(std::int32_t raw, const ChannelDescriptor& channel) const;

  /// Which reader made the series: 0 none, 1 KORLA24, 2 KORLA16, 3 KORLA_TM4.
  virtual int format_id() const;

  /// Start of the series, seconds since 1970 UTC.
  double start_time() const;

  SeriesHeader header;
  std::vector<ChannelDescriptor> channels;  ///< one for each channel
  /// Raw counts, one vector for each channel in the order of `channels`. Each holds at least
  /// times.size() values; those beyond belong to a last sample that is not whole.
  std::vector<std::vector<std::int32_t>> samples;
  std::vector<double> times;  ///< seconds since 1970 UTC of each sample, shared by all channels
};

/// Loads a station file of any format, told from its first bytes.
/// path: the file. name_time: start time known from elsewhere (seconds since 1970 UTC), 0 for none.
/// nudge: shift a four-channel ko24 series so that its time marks fall on their minutes.
/// Returns null for a file that can't be opened, is not a regular file, or starts like a 16-bit
/// station file and has no line end in its first 3072 bytes. Throws what the reader throws.
std::unique_ptr<Korla_Base> open_series(const std::string& path, double name_time, bool nudge);

/// "libkorla Ver: " and the version of the source tree that the library was built from.
const char* version_line();

}  // namespace KorLa
