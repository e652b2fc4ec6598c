// 16-bit station files, text and binary, through their opening and gathering.

#include "fuzz/harness.h"
#include "korla/korla16.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file(data, size);
  return fuzz::survive([&file] { KorLa::KORLA16(file.path(), 0.0); });
}
