// Composing of station files.

#include "tests/support/station_files.h"

#include <bit>
#include <chrono>
#include <filesystem>
#include <iomanip>
#include <sstream>

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

}  // namespace

void set_change_time(const std::string& path, std::int64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::from_sys(time));
}

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
  put(bytes_, std::uint64_t{32} * fields.n_channels, 4);
  for (std::size_t c = 0; c < fields.n_channels; ++c) {
    bytes_ += "chan";
    put(bytes_, c, 2);
    put(bytes_, 0, 2);
    put(bytes_, -10.0);
    put(bytes_, 10.0);
    put(bytes_, 1.0);
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

Ko24File& Ko24File::truncate(std::size_t size) {
  bytes_.resize(size);
  return *this;
}

std::string comment_line(char letter, std::size_t block_length, double frequency) {
  std::ostringstream line;
  line << '!' << letter << block_length << "Tidserier sampfrek: " << frequency
       << " gain: 1 station: rasvik date: 2016-03-01 time: 06:00:00";
  return line.str();
}

std::vector<std::int32_t> placed_samples(std::size_t channel, std::size_t first,
                                         std::size_t count) {
  std::vector<std::int32_t> samples;
  for (std::size_t i = first; i < first + count; ++i) {
    samples.push_back(static_cast<std::int32_t>(10 * i + channel));
  }
  return samples;
}

std::string text_line(std::string_view time, const std::vector<std::int32_t>& samples,
                      const TextStyle& style) {
  std::string line = style.before_line;
  if (style.times) {
    line += time;
    line += style.separator;
  }
  for (std::size_t i = 0; i < samples.size(); ++i) {
    line += (i > 0 ? style.separator : "") + std::to_string(samples[i]);
  }
  return line + style.line_end;
}

std::string text_group(std::string_view time, std::size_t first, std::size_t block_length,
                       const TextStyle& style) {
  std::string lines;
  for (const std::size_t channel : {0U, 1U, 2U}) {
    lines += text_line(time, placed_samples(channel, first, block_length), style);
  }
  return lines;
}

std::string binary_block(const std::vector<int>& time_words,
                         const std::vector<std::int32_t>& samples) {
  std::string bytes;
  for (const int word : time_words) {
    put(bytes, static_cast<std::uint64_t>(word), 2);
  }
  for (const std::int32_t sample : samples) {
    put(bytes, static_cast<std::uint32_t>(sample), 2);
  }
  return bytes;
}

std::string binary_group(const std::vector<int>& time_words, std::size_t first,
                         std::size_t block_length) {
  std::string bytes;
  for (const std::size_t channel : {0U, 1U, 2U}) {
    bytes += binary_block(time_words, placed_samples(channel, first, block_length));
  }
  return bytes;
}

std::string text_file(const std::vector<std::string>& stamps, std::size_t block_length,
                      const TextStyle& style) {
  std::string bytes = comment_line('S', block_length, 8) + "\n";
  for (std::size_t g = 0; g < stamps.size(); ++g) {
    bytes += text_group(stamps[g], g * block_length, block_length, style);
  }
  return bytes;
}

std::string binary_file(const std::vector<std::vector<int>>& stamps, std::size_t block_length) {
  std::string bytes = comment_line('S', block_length, 8) + "\r";
  for (std::size_t g = 0; g < stamps.size(); ++g) {
    bytes += binary_group(stamps[g], g * block_length, block_length);
  }
  return bytes;
}

std::string tm4_lines(double time, std::size_t first, std::size_t count, double frequency,
                      std::size_t n_channels) {
  std::ostringstream lines;
  lines << std::fixed << std::setprecision(6);
  for (std::size_t i = 0; i < count; ++i) {
    lines << time + static_cast<double>(i) / frequency;
    for (std::size_t c = 0; c < n_channels; ++c) {
      lines << ' ' << 10 * (first + i) + c;
    }
    lines << '\n';
  }
  return lines.str();
}

}  // namespace support
