// Coordinate files.

#include "fuzz/harness.h"

#include "src/geometry.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = fuzz::hold_input(data, size);
  tavrik::array_geometry = {};
  return fuzz::survive([&path] { tavrik::read_coordinates(path); });
}
