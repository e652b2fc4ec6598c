#pragma once
// The lines of a text 16-bit file as blocks of samples. Used by AsciiKORLA, which groups them.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "korla/file_warnings.h"
#include "korla/lines.h"
#include "korla/stamp_clock.h"

namespace KorLa {

/// What a line holds.
struct TextBlock {
  Stamp stamp;  ///< if the file has time columns
  std::vector<std::int32_t> samples;
  std::size_t line = 0;       ///< its number after the comment line, which is line 1
  bool after_mark = false;    ///< a line that marks a time gap is before it
  bool after_damage = false;  ///< a damaged line before it was left out
};

/// How a file's lines are made up.
struct TextLayout {
  bool has_stamps = true;    ///< they begin with minute and second
  bool has_surplus = false;  ///< something follows the samples
};

/// Reads data lines. Blank lines and remarks, which begin with a letter, are passed over, and so
/// are damaged lines if the file has time columns, which show to what group the others belong.
/// Without these a damaged line ends the file, and so does a line too long for LineReader.
class TextBlocks {
 public:
  /// file: read from its current position, where the data lines begin.
  TextBlocks(std::FILE* file, std::size_t block_length, FileWarnings& warnings);

  /// Reads the next line into `block`, whose memory is used again; false at the end.
  bool next(TextBlock& block);

  bool has_stamps() const { return layout_.has_stamps; }

  /// Whether the last line that was read is damaged.
  bool ended_in_damage() const { return damage_.has_value(); }

 private:
  enum class Reading { block, no_time, too_few, too_many, too_long };

  bool next_line(std::string_view& line);
  void show_failure(std::string_view line, std::size_t count);
  Reading read_line(std::string_view line, TextBlock& block);
  void warn_of_damage(Reading damage);
  bool is_beyond_repair() const;

  LineReader lines_;
  std::size_t block_length_;
  FileWarnings& warnings_;
  TextLayout layout_;
  bool marked_ = false;            ///< a line that marks a gap is before the next block
  bool said_failed_ = false;       ///< a line with too few numbers was shown
  std::optional<Reading> damage_;  ///< of the last line
  std::size_t damaged_line_ = 0;
};

}  // namespace KorLa
