#pragma once
// ko24 files to be broken at will, and what tests of files need besides. tests/station_files has
// files of all kinds.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
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

/// FNV-1a of whole numbers or of bytes.
template <class Values>
std::uint64_t fingerprint(const Values& values) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const auto value : values) {
    hash = (hash ^ static_cast<std::uint32_t>(value)) * 0x100000001b3;
  }
  return hash;
}

/// The path of a file in tests/station_files.
std::string station_file(const std::string& name);

/// The whole of a file.
std::string contents_of(const std::string& path);

/// What a ko24 file's head says.
struct Ko24Fields {
  std::uint32_t start_sec = 1456812000;  // 06:00 on 1 March 2016, UTC
  std::uint32_t start_nsec = 0;
  std::uint8_t n_channels = 3;
  double sampling_frequency = 18.0;
};

/// The bytes of a ko24 file of version 1. A new one is a good file without samples.
class Ko24File {
 public:
  explicit Ko24File(const Ko24Fields& fields);

  const std::string& bytes() const { return bytes_; }

  /// Appends samples to the block: sample 0 of each channel, sample 1 of each channel...
  Ko24File& add_values(const std::vector<std::int32_t>& values);
  /// Appends samples, the channels one by one; all are of the same length.
  Ko24File& add_channels(const std::vector<std::vector<std::int32_t>>& channels);
  Ko24File& truncate(std::size_t size);

 private:
  std::string bytes_;
};

}  // namespace support
