#pragma once
// Trace output of the file library: one switch, one line format. Used by every module of korla.

#include <fmt/format.h>
#include <string_view>

namespace KorLa {

/// Whether the library writes its "Debug:" lines. Set once at start-up by the program.
inline bool debug = false;

/// Writes "Debug:MODULE(LINE) MESSAGE" to the error stream, with exactly one line end.
void write_trace(const char* module, int line, std::string_view message);

}  // namespace KorLa

/// Traces a formatted message; the calling file defines its path as `trace_module`.
#define KORLA_TRACE(...)                                                      \
  do {                                                                        \
    if (::KorLa::debug) {                                                     \
      ::KorLa::write_trace(trace_module, __LINE__, fmt::format(__VA_ARGS__)); \
    }                                                                         \
  } while (false)
