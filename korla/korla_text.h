#pragma once
// The text form of 16-bit station files. Made by open_station_file.

#include <cstddef>
#include <vector>

#include "korla/korla.h"
#include "korla/text_blocks.h"

namespace KorLa {

/// A line for each block. The three lines of a group carry the same stamp: where a line is lost or
/// one too many, stamps show it, and the group is left out.
class AsciiKORLA : public KORLA {
 public:
  /// opened: at any position; `station_file.data_offset` says where the lines begin.
  AsciiKORLA(StationFile station_file, File opened, bool quiet);

  int read_record(BlockGroup& group) override;

 private:
  bool read_ahead(std::size_t count);
  std::size_t count_equal_stamps(std::size_t first, std::size_t most);
  bool begins_group(std::size_t first);
  void drop(std::size_t first, std::size_t count);
  bool drop_doubled(std::size_t run, std::size_t surplus);
  std::size_t count_out_of_step();
  bool bring_in_step();
  void take_group(BlockGroup& group);

  TextBlocks blocks_;
  std::vector<TextBlock> ahead_;  ///< read and not yet taken; after these, memory to be used again
  std::size_t n_ahead_ = 0;       ///< of those not yet taken
};

}  // namespace KorLa
