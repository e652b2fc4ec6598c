#pragma once
// The texts that the program shows about itself.

#include <string>

namespace tavrik {

/// Name, version, time of the build and maker, in one line without its end.
std::string version_line();

/// Prints the usage text, the online help and the versions to the error stream, then ends the
/// program with status 0. program: argv[0].
[[noreturn]] void usage(const char* program);

}  // namespace tavrik
