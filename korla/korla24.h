#pragma once
// Reader of ko24 files, the chunked files of the station's native recorder. Used by open_series.

#include <cstdint>
#include <span>
#include <string>

#include "korla/korla_base.h"

namespace KorLa {

/// The series of a ko24 file; docs/formats.md has the byte table.
class KORLA24 : public Korla_Base {
 public:
  /// Reads the whole file. nudge: correct the times by the marks on the fourth channel, if there
  /// are exactly four.
  /// Throws std::runtime_error for a file that can't be opened or is malformed, no channels
  /// included.
  KORLA24(const std::string& path, bool nudge);

  int format_id() const override;

 private:
  /// Seconds to add to the times so that the time marks on channel index 3 fall on minutes 5 and
  /// 35 of their hours; 0 without a mark, or with two that are not 1800 +- 1 s apart. Needs four
  /// channels.
  double compute_nudge() const;

  /// Time of a sample by the header alone, seconds since 1970 UTC.
  double uncorrected_time(std::size_t index) const;
};

/// Finds the first time mark: width + 1 or width + 2 samples at or above 300000, the first of them
/// above it, that end before the samples do. Of a longer run its end counts: the mark starts
/// width + 2 samples before the end, or width + 1 if only that sample is above 300000.
/// width: samples in a second, at least 0. Returns the index of the mark's start, or samples.size()
/// if there is no mark. Takes linear time.
std::size_t find_time_mark(std::span<const std::int32_t> samples, int width);

}  // namespace KorLa
