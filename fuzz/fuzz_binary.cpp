// 16-bit files, of which only those that are taken for binary are read further.

#include "fuzz/harness.h"
#include "korla/korla.h"
#include "korla/korla16.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = fuzz::hold_input(data, size);
  KorLa::negtime = size % 4 < 2;
  return fuzz::survive([&path] {
    if (KorLa::open_station_file(path, 0.0, true)->is_binary()) {
      fuzz::check_promises(KorLa::KORLA16(path, 0.0));
    }
  });
}
