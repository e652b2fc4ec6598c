#pragma once
// The series of a 16-bit station file: its groups, joined. Used by open_series.

#include <string>

#include "korla/korla_base.h"

namespace KorLa {

/// Whether the day of a file that passes midnight is the day that it ends on. All its times are
/// then as many days earlier as it passes midnights. Set once at start-up by the program.
inline bool negtime = false;

class KORLA;

/// The series of a text or binary 16-bit file; docs/formats.md has the layouts.
class KORLA16 : public Korla_Base {
 public:
  /// Reads the whole file. name_time: start time known from elsewhere, seconds since 1970 UTC, 0
  /// for none; it replaces the file's own when the two are less than 2 s apart.
  /// Throws std::runtime_error for a file that is no station file, and std::out_of_range for a
  /// station that the table lacks ("map::at") and for a gain outside 1 to 4.
  KORLA16(const std::string& path, double name_time);

  int format_id() const override;

 private:
  void preset(KORLA& reader);
};

/// Decides when a series starts, seconds since 1970 UTC, and writes it to the header as far as its
/// fields reach (1970 to 2106). start: by the file, or by its path if from_path. name_time replaces
/// a start less than 2 s away, unless it is 0. A start that comes from a name, the path's or this
/// one, is kept in the header's extension too. Returns the start.
double decide_start(SeriesHeader& header, double start, bool from_path, double name_time);

/// Says how many gaps a file has, if any.
void report_gaps(std::size_t gaps);

}  // namespace KorLa
