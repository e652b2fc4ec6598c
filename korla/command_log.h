#pragma once

// The log of command lines: one line for each run of the program. Called by the driver.

namespace KorLa {

/// Appends one line to the file at `path`: local date and time in the user's own format, then every
/// argument, quoted so that it can be pasted back into a shell. The line is written at once, so
/// that runs beside each other never mix theirs. A log that can't be written is said in one line on
/// the error stream ("No logfile entry"), nothing more.
/// arguments: `count` strings, the program's name first.
void log_command_line(const char* path, int count, const char* const* arguments);

}  // namespace KorLa
