// Composing of station files.

#include "tests/support/station_files.h"

#include <bit>

namespace support {

namespace {

/// Appends the lowest bytes of a number, lowest first.
void put(std::string& bytes, std::uint64_t number, int size) {
  for (int i = 0; i < size; ++i) {
    bytes += static_cast<char>(number >> (8 * i) & 0xff);
  }
}

void put(std::string& bytes, double number) {
  put(bytes, std::bit_cast<std::uint64_t>(number), 8);
}

std::string descriptor(std::size_t channel, double range_low, double range_high, double scale) {
  std::string bytes = "chan";
  put(bytes, channel, 2);
  put(bytes, 0, 2);
  put(bytes, range_low);
  put(bytes, range_high);
  put(bytes, scale);
  return bytes;
}

}  // namespace

Ko24File::Ko24File(const Ko24Fields& fields) {
  bytes_ = "ko24";
  put(bytes_, fields.version, 1);
  put(bytes_, fields.station, 1);
  put(bytes_, fields.header_size, 2);
  put(bytes_, fields.start_sec, 4);
  put(bytes_, fields.start_nsec, 4);
  put(bytes_, fields.sample_code, 4);
  put(bytes_, fields.n_channels, 1);
  put(bytes_, fields.reserved, 1);
  put(bytes_, fields.sampling_frequency);
  put(bytes_, fields.bits_per_sample, 1);
  put(bytes_, fields.bytes_per_sample, 1);
  const std::size_t extension = fields.version == 1 ? 4 : fields.version == 2 ? 8 : 0;
  for (std::size_t i = 0; i < extension; ++i) {
    put(bytes_, fields.extra_time.at(i), 1);
  }
  channel_table_ = bytes_.size();
  bytes_ += "chns";
  put(bytes_, 32U * fields.n_channels, 4);
  for (std::size_t c = 0; c < fields.n_channels; ++c) {
    bytes_ += descriptor(c, -10.0, 10.0, 1.0);
  }
  data_ = bytes_.size();
  bytes_ += "data";
  put(bytes_, 0, 4);
}

Ko24File& Ko24File::add_values(const std::vector<std::int32_t>& values) {
  for (const std::int32_t value : values) {
    put(bytes_, static_cast<std::uint32_t>(value), 4);
  }
  return *this;
}

Ko24File& Ko24File::add_channels(const std::vector<std::vector<std::int32_t>>& channels) {
  for (std::size_t i = 0; i < channels.front().size(); ++i) {
    for (const std::vector<std::int32_t>& channel : channels) {
      put(bytes_, static_cast<std::uint32_t>(channel.at(i)), 4);
    }
  }
  return *this;
}

Ko24File& Ko24File::set_bytes(std::size_t offset, std::string_view bytes) {
  bytes_.replace(offset, bytes.size(), bytes);
  return *this;
}

Ko24File& Ko24File::set_descriptor(std::size_t channel, double range_low, double range_high,
                                   double scale) {
  return set_bytes(descriptor_offset(channel), descriptor(channel, range_low, range_high, scale));
}

Ko24File& Ko24File::truncate(std::size_t size) {
  bytes_.resize(size);
  return *this;
}

}  // namespace support
