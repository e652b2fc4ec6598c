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
#include "korla/file_warnings.h"
#include "korla/path_date.h"
#include "korla/stamp_clock.h"

namespace KorLa {

/// What one `read_record` reads: a block of samples of each of the three channels.
struct BlockGroup {
  std::array<std::vector<std::int32_t>, 3> samples;  ///< raw counts, of equal length
  std::int64_t time = 0;       ///< of the first channel's block, seconds; see KORLA::has_stamps
  bool stamps_differ = false;  ///< the channels' blocks are not of one time
  bool after_mark = false;     ///< a line that marks a time gap stands before the group
  bool after_loss = false;     ///< damaged blocks before the group were left out
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

  FileWarnings& warnings() { return warnings_; }

  /// Whether the blocks carry times, and whether these count from 1970 UTC by themselves, and not
  /// from the start of the file's day. Known after the first group.
  bool has_stamps() const { return has_stamps_; }

  bool absolute_stamps() const { return absolute_stamps_; }

  /// Whether the last group could not be read whole: the file ends inside it, or it is damaged.
  bool ended_in_group() const { return ended_in_group_; }

  /// Number of midnights that the file has passed.
  int midnights() const { return clock_.midnights(); }

  /// An upper bound of the samples that one channel has in this file.
  std::size_t most_samples() const { return most_samples_; }

 protected:
  /// Gives the group the time of its blocks' stamps, in the order of the blocks.
  void set_time(BlockGroup& group, const std::array<Stamp, 3>& stamps);

  std::FILE* file() { return file_.get(); }

  /// Number of samples in one channel's block.
  std::size_t block_length_;
  bool has_stamps_ = true;
  bool absolute_stamps_ = false;
  bool ended_in_group_ = false;
  std::size_t most_samples_ = 0;
  /// Channel of each block of a group.
  std::array<std::size_t, 3> channel_order_ = {0, 1, 2};

 private:
  StationFile station_file_;
  File file_;
  bool quiet_;
  bool binary_ = false;
  StampClock clock_;
  FileWarnings warnings_;
};

/// Opens a 16-bit station file and tells text from binary.
/// name_time: start known from elsewhere, seconds since 1970 UTC, 0 for none; names the file's day
/// where neither comment nor path does. quiet: no informational lines.
/// Throws std::runtime_error for a file that can't be opened, is shorter than 256 bytes, or has no
/// line end in its first 256. Ends the process with status 1 when a binary file ends inside its
/// comment line.
std::unique_ptr<KORLA> open_station_file(const std::string& path, double name_time, bool quiet);

}  // namespace KorLa
