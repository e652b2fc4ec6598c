#pragma once

// The log of command lines: one line for each run of the program. Called by the driver.

#include <span>
#include <string>

namespace KorLa {

/// Appends one line to the file at `path`: local date and time in the user's own format, then every
/// argument, quoted so that it can be pasted back into a shell; control characters but tabs become
/// escapes. The line is written at once, so that runs beside each other never mix theirs, and whole
/// or not at all. A log that can't be written is said in one line on the error stream ("No logfile
/// entry"), nothing more. A log that must not be written is named in a line before that one:
/// another user's symbolic link, or one of `inputs`, the files that the run may read, under
/// whatever name. arguments: `count` strings, the program's name first.
void log_command_line(const char* path, int count, const char* const* arguments,
                      std::span<const std::string> inputs = {});

}  // namespace KorLa
