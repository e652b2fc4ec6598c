// Coordinate files.

#include "fuzz/harness.h"

#include "src/geometry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file(data, size);
  tavrik::array_geometry = {};
  return fuzz::survive([&file] { tavrik::read_coordinates(file.path()); });
}
