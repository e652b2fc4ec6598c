// Composing of station files.

#include "tests/support/station_files.h"

#include <fstream>
#include <iterator>

#include "korla/korla_base.h"

namespace support {

std::string station_file(const std::string& name) {
  return std::string(TAVRIK_STATION_FILES) + "/" + name;
}

std::string contents_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Ko24File::Ko24File(const Ko24Fields& fields) {
  const KorLa::SeriesHeader header{.magic = {'k', 'o', '2', '4'},
                                   .version = 1,
                                   .station = 254,
                                   .header_size = 32,
                                   .start_sec = fields.start_sec,
                                   .start_nsec = fields.start_nsec,
                                   .sample_code = 7,
                                   .n_channels = fields.n_channels,
                                   .sampling_frequency = fields.sampling_frequency,
                                   .bits_per_sample = 24,
                                   .bytes_per_sample = 4};
  const std::string size(4, '\0');  // of a chunk; nobody reads it
  bytes_ = bytes_of(header).substr(0, 36) + "chns" + size;
  for (std::uint16_t c = 0; c < fields.n_channels; ++c) {
    bytes_ += bytes_of(KorLa::ChannelDescriptor{{'c', 'h', 'a', 'n'}, c, 0, -10.0, 10.0, 1.0});
  }
  bytes_ += "data" + size;
}

Ko24File& Ko24File::add_values(const std::vector<std::int32_t>& values) {
  for (const std::int32_t value : values) {
    bytes_ += bytes_of(value);
  }
  return *this;
}

Ko24File& Ko24File::add_channels(const std::vector<std::vector<std::int32_t>>& channels) {
  for (std::size_t i = 0; i < channels.front().size(); ++i) {
    for (const std::vector<std::int32_t>& channel : channels) {
      bytes_ += bytes_of(channel.at(i));
    }
  }
  return *this;
}

Ko24File& Ko24File::truncate(std::size_t size) {
  bytes_.resize(size);
  return *this;
}

}  // namespace support
