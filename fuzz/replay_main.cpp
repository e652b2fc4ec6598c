// Feeds files, and the files in folders and theirs, to a fuzz target without a fuzzer.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/harness.h"

namespace {

bool replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string input((std::istreambuf_iterator<char>(file)), {});
  if (!file) {
    std::fprintf(stderr, "Can't read %s\n", path.c_str());
    return false;
  }
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::is_directory(argv[i])) {
      count += replay(argv[i]) ? 1 : 0;
      continue;
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      count += entry.is_regular_file() && replay(entry.path()) ? 1 : 0;
    }
  }
  std::fprintf(stderr, "%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
