#pragma once
// The binary form of 16-bit station files. Made by open_station_file.

#include <cstdint>
#include <vector>

#include "korla/korla.h"

namespace KorLa {

/// Blocks of two 16-bit time words, or none, and 16-bit samples.
class BinaryKORLA : public KORLA {
 public:
  /// opened: at any position. Takes the comment line, if the file has one; ends the process with
  /// status 1 when the file ends inside it.
  BinaryKORLA(StationFile station_file, File opened, bool quiet);

  /// A block that is cut short ends the data inside the group.
  int read_record(BlockGroup& group) override;

 private:
  void read_comment_line();
  bool read_block();
  std::int64_t block_time();

  std::vector<std::int16_t> block_;  ///< time words, if the file has them, then samples
};

}  // namespace KorLa
