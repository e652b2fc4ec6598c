#pragma once
// Reading of one 16-bit station file, group by group: what text and binary files share, and the
// choice between them. Used by KORLA16, which joins the groups to a series.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "korla/bytes.h"
#include "korla/comment.h"
#include "korla/path_date.h"

namespace KorLa {

/// What one `read_record` reads: a block of samples of each of the three channels.
struct BlockGroup {
  std::array<std::vector<std::int32_t>, 3> samples;  ///< raw counts, of equal length
  std::int64_t time = 0;       ///< of the first channel's block, seconds; see KORLA::has_stamps
  std::size_t blocks = 0;      ///< blocks read so far; 3 when the group is whole
  bool stamps_differ = false;  ///< the channels' blocks are not of one time
  bool after_mark = false;     ///< a line that marks a time gap stands before the group
};

/// What the start of a station file, and its path, say about it.
struct StationFile {
  std::string path;
  Comment comment;
  bool valid_comment = false;   ///< the comment line has one of its three forms
  std::size_t data_offset = 0;  ///< of the byte after the first CR or LF, from the file's start
  std::optional<PathDate> path_date;  ///< only looked for without a date in the comment
  std::optional<std::int64_t> day;    ///< start of the file's day, seconds since 1970 UTC
};

/// A station file that is being read.
class KORLA {
 public:
  /// file: open for reading. quiet: no informational lines. Sets the process's time zone to UTC.
  KORLA(StationFile station_file, File file, bool quiet);
  KORLA(const KORLA&) = delete;
  KORLA& operator=(const KORLA&) = delete;

  /// Reads the next group. Returns 0, or -1 at the end of the data and where the data can't be read
  /// any further; the group is then without meaning, and nothing more may be read.
  virtual int read_record(BlockGroup& group) = 0;

  virtual ~KORLA() = default;

  /// Whether the file is binary. `report_type` must have been called.
  virtual bool is_binary() const { return binary_; }

  /// Notes the file's type and says "File: PATH Type: TYPE" unless quiet. Warns of a year that was
  /// only inferred.
  void report_type(bool binary);

  const StationFile& station_file() const { return station_file_; }

  /// Whether the blocks carry times. They count from the start of the file's day or, where
  /// comment.u_flag is set in a binary file, from 1970 UTC. Known after the first group.
  bool has_stamps() const { return has_stamps_; }

  /// Whether the last group could not be read whole: the file ends inside it, or it is damaged.
  bool ended_in_group() const { return ended_in_group_; }

  /// Whether a file that began in the last hour of its day has gone on into the next day.
  bool straddles_midnight() const { return past_midnight_ != 0; }

  /// An upper bound of the samples that one channel has in this file.
  std::size_t most_samples() const { return most_samples_; }

 protected:
  /// Seconds since 1970 of a block with the given stamp: minute of the day and second, counted from
  /// the start of the file's day. Once a file from the last hour has passed midnight, minutes below
  /// 60 count from the next day.
  std::int64_t stamp_time(int minute, int second);

  /// Clears what the last group has left.
  static void begin(BlockGroup& group);

  /// Counts one more block, of the given time, whose samples are in the group.
  static void add_block(BlockGroup& group, std::int64_t time);

  /// Ends the data where no further block was found, which is no fault between two groups. Returns
  /// -1, for `read_record`.
  int end_data(const BlockGroup& group);

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
  std::int64_t day_start_;          ///< seconds since 1970 UTC; 0 where nothing names the day
  std::int64_t past_midnight_ = 0;  ///< seconds of a day once the file has passed midnight
  int first_minute_ = -1;           ///< of the first block's stamp; -1 before
};

/// Opens a 16-bit station file and tells text from binary.
/// name_time: start known from elsewhere, seconds since 1970 UTC, 0 for none; names the file's day
/// where neither comment nor path does. quiet: no informational lines.
/// Throws std::runtime_error for a file that can't be opened, is shorter than 256 bytes, or has no
/// line end in its first 256. Ends the process with status 1 when a binary file ends inside its
/// comment line.
std::unique_ptr<KORLA> open_station_file(const std::string& path, double name_time, bool quiet);

}  // namespace KorLa
