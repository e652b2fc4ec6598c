// TM4 files, whatever their first bytes say.

#include "fuzz/harness.h"
#include "korla/korla_tm4.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file(data, size);
  return fuzz::survive([&file] { KorLa::KORLA_TM4(file.path(), 0.0); });
}
