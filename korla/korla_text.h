#pragma once
// The text form of 16-bit station files. Made by open_station_file.

#include <cstdint>
#include <string_view>
#include <vector>

#include "korla/korla.h"
#include "korla/lines.h"

namespace KorLa {

/// A line for each block: minute and second, or neither, and then the samples. Blank lines and
/// remarks, which begin with a letter, are passed over; a line that begins with "!" marks a gap.
class AsciiKORLA : public KORLA {
 public:
  /// opened: at any position; `station_file.data_offset` says where the lines begin.
  AsciiKORLA(StationFile station_file, File opened, bool quiet);

  /// Samples that are no whole numbers, too few of them, or a line too long for LineReader end the
  /// data inside the group.
  int read_record(BlockGroup& group) override;

 private:
  bool next_data_line(std::string_view& line, bool& after_mark);
  bool read_samples(const char*& next, std::string_view line,
                    std::vector<std::int32_t>& samples) const;
  bool read_line(std::string_view line, std::vector<std::int32_t>& samples, std::int64_t& time);

  LineReader lines_;
  bool first_line_ = true;
};

}  // namespace KorLa
