#pragma once
// Small station files, made byte by byte and independently of the code under test, to be broken at
// will.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace support {

/// What stands in a ko24 file's head.
struct Ko24Fields {
  std::uint8_t version = 1;
  std::uint8_t station = 254;
  std::uint16_t header_size = 32;
  std::uint32_t start_sec = 1456812000;  // 06:00 on 1 March 2016, UTC
  std::uint32_t start_nsec = 0;
  std::uint32_t sample_code = 7;
  std::uint8_t n_channels = 3;
  std::uint8_t reserved = 0;
  double sampling_frequency = 18.0;
  std::uint8_t bits_per_sample = 24;
  std::uint8_t bytes_per_sample = 4;
  std::array<std::uint8_t, 8> extra_time = {};  // the first 4 for version 1, all for version 2
};

/// The bytes of a ko24 file. A new one is a good file without samples.
class Ko24File {
 public:
  explicit Ko24File(const Ko24Fields& fields);

  const std::string& bytes() const { return bytes_; }

  /// Appends samples to the block: sample 0 of each channel, sample 1 of each channel...
  Ko24File& add_values(const std::vector<std::int32_t>& values);
  /// Appends samples, the channels one by one; all are of the same length.
  Ko24File& add_channels(const std::vector<std::vector<std::int32_t>>& channels);
  Ko24File& set_bytes(std::size_t offset, std::string_view bytes);
  Ko24File& set_descriptor(std::size_t channel, double range_low, double range_high, double scale);
  Ko24File& truncate(std::size_t size);

  std::size_t channel_table_offset() const { return channel_table_; }

  std::size_t descriptor_offset(std::size_t channel) const {
    return channel_table_ + 8 + 32 * channel;
  }

  std::size_t data_offset() const { return data_; }

 private:
  std::string bytes_;
  std::size_t channel_table_;  // where "chns" stands
  std::size_t data_;           // where "data" stands
};

}  // namespace support
