// The reader of text blocks alone. The first byte is the block length.

#include "fuzz/harness.h"
#include "korla/korla_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const fuzz::MemoryFile file(data + 1, size - 1);
  return fuzz::survive([&] {
    KorLa::StationFile station_file;
    station_file.comment.block_length = data[0];
    KorLa::AsciiKORLA reader(station_file, KorLa::open_for_reading(file.path().c_str()), true);
    KorLa::BlockGroup group;
    while (reader.read_record(group) != -1) {
    }
  });
}
