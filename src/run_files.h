#pragma once
// The files that a run reads and writes, by device and inode, so that no result takes the place of
// something else, whatever path leads there.

#include <map>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>

#include "korla/bytes.h"

namespace tavrik {

/// A file's identity, whatever path leads to it: device and inode.
using FileIdentity = std::pair<dev_t, ino_t>;

FileIdentity identity(const KorLa::FileStatus& status);

/// A result file or picture of a run.
struct RunResult {
  std::string path;
  std::string data_path;  ///< data file that it is named after
};

/// What all result files and pictures of a process share.
struct ResultState {
  std::set<FileIdentity> inputs;              ///< files that no result may overwrite
  std::map<FileIdentity, RunResult> written;  ///< the results so far
  bool output_lost = false;                   ///< a line, a file or a picture: status 1
};

inline ResultState result_state;

/// Marks a file as one that no result may overwrite: a data file, a coordinate file, a font, the
/// log. One that is not there is none.
void protect_input(const std::string& path);

/// As protect_input, for what a standard stream leads to, if that is a regular file.
void protect_stream(int descriptor);

/// Whether a path leads to a file that no result may overwrite.
bool is_protected(const std::string& path);

/// Whether a result may take the place of a file: not of one that is protected, nor of another
/// result of this run. When that is one of another data file, says so.
bool may_overwrite(const KorLa::FileStatus& status, const RunResult& result);

}  // namespace tavrik
