#pragma once
// The binary form of 16-bit station files. Made by open_station_file.

#include <array>
#include <cstdint>
#include <vector>

#include "korla/korla.h"
#include "korla/stamp_clock.h"

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
  void skip_line_feed();
  bool read_block();
  void set_stamps(BlockGroup& group);

  std::vector<std::int16_t> block_;  ///< time words, if the file has them, then samples
  std::array<Stamp, 3> stamps_;      ///< time words of the group that is being read
  bool first_group_ = true;
};

}  // namespace KorLa
