#pragma once
// Small station files, made byte by byte and independently of the code under test, to be broken at
// will.

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace support {

/// What a call throws, in words; "nothing" where it returns.
template <class Call>
std::string failure(Call call) {
  try {
    call();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "nothing";
}

/// The bytes of a record, to compare it as a whole.
template <class Record>
std::string bytes_of(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

/// Sets when a file was last changed, seconds since 1970 UTC.
void set_change_time(const std::string& path, std::int64_t seconds);

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

/// The comment line of most files here, with the given letter, block length and frequency: gain 1,
/// rasvik, 06:00 on 1 March 2016.
std::string comment_line(char letter, std::size_t block_length, double frequency);

/// Samples of a channel that tell their place: sample i of channel c is 10 i + c.
std::vector<std::int32_t> placed_samples(std::size_t channel, std::size_t first, std::size_t count);

/// How a text file is laid out.
struct TextStyle {
  std::string line_end = "\n";
  std::string before_line = {};  ///< in front of the first number
  std::string separator = " ";
  bool times = true;
};

/// One line of a text file: the time columns as they are given, then the samples.
std::string text_line(std::string_view time, const std::vector<std::int32_t>& samples,
                      const TextStyle& style = {});

/// A group of three lines with one time, of placed samples.
std::string text_group(std::string_view time, std::size_t first, std::size_t block_length,
                       const TextStyle& style = {});

/// One block of a binary file: its words as they are given, two for the time or none, then the
/// samples.
std::string binary_block(const std::vector<int>& time_words,
                         const std::vector<std::int32_t>& samples);

/// A group of three blocks with one time, of placed samples.
std::string binary_group(const std::vector<int>& time_words, std::size_t first,
                         std::size_t block_length);

/// A 16-bit file of 8 Hz: the comment line, then a group of placed samples for each stamp.
std::string text_file(const std::vector<std::string>& stamps, std::size_t block_length = 128,
                      const TextStyle& style = {});
std::string binary_file(const std::vector<std::vector<int>>& stamps,
                        std::size_t block_length = 128);

/// The lines of a TM4 file from sample `first` on, of placed samples, at `frequency`; the first of
/// them at `time` seconds.
std::string tm4_lines(double time, std::size_t first, std::size_t count, double frequency,
                      std::size_t n_channels = 3);

}  // namespace support
