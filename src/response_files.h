#pragma once
// Arguments from files. Called by the driver before the options are read.

#include <string>
#include <vector>

namespace tavrik {

/// The command line with each argument "@FILE" or "$FILE" replaced by that file's lines, which may
/// name files themselves. Lines and arguments that start with "#" are dropped; an empty line is an
/// empty argument; a name whose file can't be read stays as it is. The program's name, first, is
/// never a file. A file that names itself, directly or through others, ends the program with
/// status 1.
std::vector<std::string> expand_response_files(int count, const char* const* arguments);

}  // namespace tavrik
