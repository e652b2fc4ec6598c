#pragma once
// The lines of a TM4 file: a time and a value for each channel. Used by the reader of TM4 files.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korla/file_warnings.h"
#include "korla/lines.h"
#include "korla/sample_times.h"

namespace KorLa {

/// The samples of a file as they are read, line by line.
class TM4Table {
 public:
  /// file: stays the caller's; read from its current position. path: its name, for messages.
  TM4Table(const std::string& path, std::FILE* file);

  /// Takes the comment line.
  std::string comment_line();

  /// Takes all data lines. Throws std::runtime_error, with file and line, for one that is not a
  /// time and a value for each channel; where the file ends within it, it is warned of and left
  /// out.
  void read_all();

  /// Seconds from the first line to the second; 0 without a second line.
  double sampling_interval() const { return interval_; }

  double first_time() const { return first_time_; }

  /// Empty without a second line.
  const std::optional<SampleTimes>& times() const { return times_; }

  /// Channel by channel, all of one length. The caller may take them.
  std::vector<std::vector<std::int32_t>>& samples() { return samples_; }

 private:
  static constexpr std::size_t most_channels = 126;

  [[noreturn]] void refuse(const char* what) const;
  bool next_line(std::string_view& line, bool& marked);
  void begin(std::size_t n_channels);
  bool read_line(std::string_view line);
  bool read_usual_line(std::string_view line);
  bool read_any_line(std::string_view line);
  const char* read_unusual(const char* next, std::int32_t& value);
  bool follows_closely() const;
  bool is_doubled() const;
  void begin_times();
  void check_time(bool marked);
  void add_values();
  void add_line(bool marked);

  std::string path_;
  FileWarnings warnings_;
  std::size_t size_;  ///< of the file, bytes
  LineReader lines_;
  double time_ = 0;                                   ///< of the line being read
  std::array<std::int32_t, most_channels> values_{};  ///< its other numbers
  std::size_t n_values_ = 0;
  bool any_out_of_range_ = false;  ///< of these
  std::vector<std::vector<std::int32_t>> samples_;
  std::optional<SampleTimes> times_;
  double first_time_ = 0;
  double last_time_ = 0;
  double interval_ = 0;
  double longest_step_ = 0;  ///< from line to line without a gap, once the interval is known
  bool said_back_ = false;
};

}  // namespace KorLa
