// Feeds the files of folders, and of the folders in them, to a fuzz target without a fuzzer.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/harness.h"

int main(int argc, char** argv) {
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      std::ifstream file(entry.path(), std::ios::binary);
      if (entry.is_regular_file() && file) {
        const std::string input((std::istreambuf_iterator<char>(file)), {});
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++count;
      }
    }
  }
  std::fprintf(stderr, "%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
