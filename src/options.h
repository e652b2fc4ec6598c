#pragma once
// The command line: one table row for each option, and the checks after the last one.

#include <vector>

namespace tavrik {

/// Reads the options into `settings` and checks them. arguments: the strings of the command line,
/// the program's name first, and a null pointer after the last; options and file names may be
/// mixed and are put in order. Returns the index of the first file name.
/// Ends the program itself on a help option (status 0) and on a bad value (status 1). A value that
/// is no number throws what std::stoi, std::stoul or std::stod throw.
int parse_command_line(std::vector<char*>& arguments);

}  // namespace tavrik
