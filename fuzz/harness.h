#pragma once
// What the fuzz targets share: an input as a file in memory, and process ends that are caught.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "korla/messages.h"

/// Called by the fuzzer, or by replay_main.cpp, for every input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// An input as a regular file that has a path and never touches a disk.
class MemoryFile {
 public:
  MemoryFile(const std::uint8_t* data, std::size_t size)
      : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) {
    if (descriptor_ < 0 || write(descriptor_, data, size) != static_cast<ssize_t>(size)) {
      std::abort();
    }
  }

  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  ~MemoryFile() { close(descriptor_); }

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

/// Thrown where the program would have ended.
struct ProcessEnded {};

/// Runs a call that may end the process by design or throw what the readers throw.
template <typename Call>
int survive(Call call) {
  KorLa::end_process = [](int) { throw ProcessEnded{}; };
  try {
    call();
  } catch (const ProcessEnded&) {
    return 0;
  } catch (const std::exception&) {
    return 0;
  }
  return 0;
}

}  // namespace fuzz
