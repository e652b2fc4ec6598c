#pragma once
// A folder of its own for a test, gone with everything in it afterwards.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace support {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tavrik_test_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary folder " + name);
    }
    path_ = name;
  }

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

  /// The full path of a name in the folder.
  std::string operator/(std::string_view name) const { return (path_ / name).string(); }

  /// Writes a file and returns its full path.
  std::string write(std::string_view name, std::string_view contents) const {
    std::ofstream file(*this / name, std::ios::binary);
    file << contents << std::flush;
    if (!file) {
      throw std::runtime_error("can't write " + *this / name);
    }
    return *this / name;
  }

  /// The whole of a file.
  std::string read(std::string_view name) const {
    std::ifstream file(*this / name, std::ios::binary);
    if (!file) {
      throw std::runtime_error("can't read " + *this / name);
    }
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path path_;
};

}  // namespace support
