#pragma once
// A file that takes its name in one step, when it is whole: nobody ever sees half of it, and a run
// that fails leaves the file that was there.

#include <optional>
#include <string>
#include <sys/types.h>

#include "src/run_files.h"

namespace tavrik {

/// A file being written. It grows as a draft, without a name where the file system can do that. A
/// device or a pipe, a file with several names, and one in a folder or of an owner that allows no
/// draft are written in place.
struct OutputFile {
  RunResult result;                   ///< what it is to be
  std::string target;                 ///< the path without links
  int descriptor = -1;                ///< for writing; -1 while not open
  bool in_place = true;               ///< there is no draft
  std::string draft;                  ///< its name; empty if it has none
  std::optional<FileIdentity> noted;  ///< as which file result_state.written has it

  bool is_open() const { return descriptor >= 0; }
};

/// Opens a file for writing, empty. A pipe that nobody reads within a second is not opened. On
/// failure, or when it may not be overwritten (see may_overwrite), says "Can't open PATH",
/// remembers that in result_state and leaves it closed.
OutputFile open_output(const RunResult& result);

/// Whether a file that is there could only be written in place, so that its contents would be lost
/// before the new ones are whole. Nothing is changed.
bool would_lose_old_file(const std::string& path);

/// Closes a file that is whole: from here on it has its name. Returns false when it could not get
/// it: the file stays open, to be abandoned. Any failure is reported as by report_lost.
bool finish_output(OutputFile& file);

/// Closes a file that is not whole. Its first `size` bytes become "PATH.unfinished", what had its
/// name keeps it; in place they stay where they are. Says so, unless there are none.
void abandon_output(OutputFile& file, off_t size);

/// Says "Can't write PATH" and remembers that in result_state.
void report_lost(const OutputFile& file);

}  // namespace tavrik
