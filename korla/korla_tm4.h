#pragma once
// Reader of TM4 files: text with a time column. Used by open_series.

#include <string>

#include "korla/korla_base.h"

namespace KorLa {

/// The series of a TM4 file; docs/formats.md has the columns.
class KORLA_TM4 : public Korla_Base {
 public:
  /// Reads the whole file. name_time: as for KORLA16.
  /// Throws std::runtime_error, with file and line, for a line that is not a time and one value for
  /// each channel. A last line that is cut short is warned of and left out.
  KORLA_TM4(const std::string& path, double name_time);

  int format_id() const override;
};

}  // namespace KorLa
