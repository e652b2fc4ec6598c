// The readers of whole station files, whatever the first bytes say: 16-bit, ko24 and TM4.

#include "fuzz/harness.h"
#include "korla/korla16.h"
#include "korla/korla24.h"
#include "korla/korla_tm4.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file(data, size);
  fuzz::survive([&file] { KorLa::KORLA16(file.path(), 0.0); });
  fuzz::survive([&file] { KorLa::KORLA24(file.path(), true); });
  return fuzz::survive([&file] { KorLa::KORLA_TM4(file.path(), 0.0); });
}
