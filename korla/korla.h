#pragma once
// Readers of one 16-bit station file, text or binary, record by record; and the choice between
// them. Used by KORLA16, which gathers the records into a series.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "korla/bytes.h"
#include "korla/comment.h"
#include "korla/lines.h"
#include "korla/path_date.h"

namespace KorLa {

/// One record of a file: a block of samples of each of the three channels.
struct RecordGroup {
  std::array<std::vector<std::int32_t>, 3> samples;  ///< of equal length
  std::int64_t time = 0;       ///< of the first channel's block, seconds; see KORLA::has_stamps
  bool stamps_differ = false;  ///< the channels' blocks are not of one time
  bool after_mark = false;     ///< a line that marks a time gap stands before the group
};

/// What the start of a station file, and its path, say about it.
struct StationFile {
  std::string path;
  Comment comment;
  bool valid_comment = false;
  std::size_t data_offset = 0;        ///< of the byte behind the comment line's end
  std::optional<PathDate> path_date;  ///< only looked for without a date in the comment
  std::optional<std::int64_t> day;    ///< start of the file's day, seconds since 1970 UTC
};

/// A station file that is being read.
class KORLA {
 public:
  /// file: at its start. quiet: no informational lines.
  KORLA(StationFile station_file, File file, bool quiet);
  KORLA(const KORLA&) = delete;
  KORLA& operator=(const KORLA&) = delete;

  /// Reads the next record into `group`. Returns -1 at the end of the data, or where the data can't
  /// be read any further; the group is then of no use.
  virtual int read_record(RecordGroup& group) = 0;

  virtual ~KORLA() = default;

  /// Whether the file is binary; to be asked once its type was reported.
  virtual bool is_binary() const { return binary_; }

  /// Says "File: PATH Type: TYPE" unless quiet, and warns of an inferred year.
  void report_type(bool binary);

  const StationFile& station_file() const { return station_file_; }

  /// Whether the records carry times. They count from the start of the file's day or, where
  /// comment.u_flag is set in a binary file, from 1970 UTC.
  bool has_stamps() const { return has_stamps_; }

  /// Whether the last group could not be read whole: the file ends inside it, or it is damaged.
  bool ended_in_group() const { return ended_in_group_; }

  /// Whether minutes below 60 have followed a start in the last hour of the day.
  bool straddles_midnight() const { return base_b_ != 0; }

  /// No file holds more samples of one channel than this.
  std::size_t most_samples() const { return most_samples_; }

 protected:
  /// Time of a block from its stamp, minute of the day and second: on top of the file's day and,
  /// behind a midnight that the file straddles, a day more.
  std::int64_t stamp_time(int minute, int second);

  std::FILE* file() { return file_.get(); }

  /// Number of samples in one channel's block.
  std::size_t block_length_;
  bool has_stamps_ = true;
  bool ended_in_group_ = false;
  std::size_t most_samples_ = 0;
  /// Channel of each block of a group.
  std::array<std::size_t, 3> channel_order_ = {0, 1, 2};

 private:
  StationFile station_file_;
  File file_;
  bool quiet_;
  bool binary_ = false;
  std::int64_t base_a_;
  std::int64_t base_b_ = 0;
  int first_minute_ = -1;
};

/// The text form: a line for each block, minutes and seconds first, then the samples.
class AsciiKORLA : public KORLA {
 public:
  AsciiKORLA(StationFile station_file, File opened, bool quiet);

  int read_record(RecordGroup& group) override;

 private:
  bool next_data_line(std::string_view& line, bool& after_mark);
  bool read_samples(const char*& next, std::string_view line,
                    std::vector<std::int32_t>& samples) const;
  bool read_line(std::string_view line, std::vector<std::int32_t>& samples, std::int64_t& time);

  LineReader lines_;
  bool first_line_ = true;
};

/// The binary form: blocks of two 16-bit time words, or none, and 16-bit samples.
class BinaryKORLA : public KORLA {
 public:
  /// Ends the process with status 1 when the file ends inside its comment line.
  BinaryKORLA(StationFile station_file, File opened, bool quiet);

  int read_record(RecordGroup& group) override;

 private:
  void read_comment_line();
  bool read_block();
  std::int64_t block_time();

  std::vector<std::int16_t> block_;  ///< time words, if the file has them, then samples
};

/// Opens a 16-bit station file and tells text from binary.
/// name_time: start known from elsewhere, seconds since 1970 UTC, 0 for none; names the file's day
/// where neither comment nor path does. quiet: no informational lines.
/// Throws std::runtime_error for a file that can't be opened, is shorter than 256 bytes, or has no
/// line end in its first 256.
std::unique_ptr<KORLA> open_station_file(const std::string& path, double name_time, bool quiet);

}  // namespace KorLa
