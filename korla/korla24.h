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
  /// Reads the whole file. nudge: correct the times by the marks on the fourth channel.
  /// Throws std::runtime_error for a file that can't be opened or is malformed, no channels
  /// included.
  KORLA24(const std::string& path, bool nudge);

  int format_id() const override;

 private:
  /// Seconds to add to the times so that the time marks on channel index 3 fall on minutes 5 and
  /// 35 of their hours; 0 without a mark, or with two that are not 1800 +- 1 s apart.
  double compute_nudge() const;

  /// Time of a sample by the header alone, seconds since 1970 UTC.
  double uncorrected_time(std::size_t index) const;
};

/// Finds a time mark: a run of samples that starts above 300000, goes on while they are not below
/// it, and whose length less one is width or width + 1; of a longer run, the place from where its
/// rest is that long. A run that reaches the end of the samples is none.
/// width: samples per second. Returns the index of the mark's start, or samples.size(). Linear
/// time.
std::size_t find_time_mark(std::span<const std::int32_t> samples, int width);

}  // namespace KorLa
