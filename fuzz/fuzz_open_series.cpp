// Station files of any format, told by their first bytes.

#include "fuzz/harness.h"
#include "korla/korla_base.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = fuzz::hold_input(data, size);
  return fuzz::survive([&path] {
    if (const auto series = KorLa::open_series(path, 0.0, true)) {
      fuzz::check_promises(*series);
    }
  });
}
