#pragma once
// Arguments from files. Called by the driver before the options are read.

#include <string>
#include <vector>

namespace tavrik {

/// A command line without response files.
struct ExpandedArguments {
  std::vector<std::string> arguments;
  std::vector<std::string> files;  ///< the response files that were read
};

/// The command line with each argument "@FILE" or "$FILE" replaced by that file's lines, which may
/// name files themselves. Lines and arguments that start with "#" are dropped; an empty line is an
/// empty argument; a name whose file can't be opened stays as it is. The program's name, first, is
/// never a file. These end the program with status 1: a file that names itself, directly or through
/// others; one that can't be read; a named pipe that nobody writes to; more than 64 MiB, 100000
/// arguments or 100000 files in all.
ExpandedArguments expand_response_files(int count, const char* const* arguments);

}  // namespace tavrik
