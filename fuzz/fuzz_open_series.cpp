// Station files of any format, told by their first bytes. What was loaded must keep its promises.

#include "fuzz/harness.h"
#include "korla/korla_base.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::MemoryFile file(data, size);
  return fuzz::survive([&file] {
    const auto record = KorLa::open_series(file.path(), 0.0, true);
    if (!record) {
      return;
    }
    for (const auto& channel : record->samples) {
      if (channel.size() < record->times.size()) {
        std::abort();
      }
    }
    if (record->samples.size() != record->channels.size()) {
      std::abort();
    }
  });
}
