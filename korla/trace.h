#pragma once
// Messages and trace output of the file library, all on the error stream. Used by every module of
// korla.

#include <cstdlib>
#include <fmt/format.h>
#include <string_view>

namespace KorLa {

/// How a condition that ends the process does so. Tests and fuzz targets, which must live on, put a
/// throwing function here.
inline void (*end_process)(int status) = std::exit;

/// Whether the library writes its "Debug:" lines. Set once at start-up by the program.
inline bool debug = false;

/// Writes a message of the library to the error stream, whatever the switch says.
void write_message(std::string_view text);

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
