// The reader of binary blocks alone. The first byte's lowest bit asks for times in one number.

#include "fuzz/harness.h"
#include "korla/korla_binary.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const fuzz::MemoryFile file(data + 1, size - 1);
  return fuzz::survive([&] {
    KorLa::StationFile station_file;
    station_file.comment.u_flag = (data[0] & 1) != 0;
    KorLa::BinaryKORLA reader(station_file, KorLa::open_for_reading(file.path().c_str()), true);
    KorLa::BlockGroup group;
    while (reader.read_record(group) != -1) {
    }
  });
}
