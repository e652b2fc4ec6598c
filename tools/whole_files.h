#pragma once
// Files that belong together and take their names when all of them are whole.

#include <string>
#include <vector>

namespace traces {

struct WholeFile {
  std::string path;
  std::string bytes;
};

/// Writes files. If one can't be written none gets its name, and what had a name keeps it. Throws
/// std::runtime_error, which names the file, also for one that is an input.
void write_whole_files(const std::vector<WholeFile>& files, const std::vector<std::string>& inputs);

}  // namespace traces
