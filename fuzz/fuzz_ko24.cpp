// ko24 files.

#include "fuzz/harness.h"
#include "korla/korla24.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = fuzz::hold_input(data, size);
  return fuzz::survive([&path] { fuzz::check_promises(KorLa::KORLA24(path, true)); });
}
