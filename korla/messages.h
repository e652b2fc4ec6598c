#pragma once
// Messages and trace lines, all on the error stream, and the one way to end the process early. Used
// by every module of korla, and through src/console.h by the program.

#include <cstdlib>
#include <fmt/format.h>
#include <string>
#include <string_view>

namespace KorLa {

/// How a condition that ends the process does so. Tests and fuzz targets, which must live on, put a
/// throwing function here; so code after a call must cope with one that does not return.
inline void (*end_process)(int status) = std::exit;

/// Whether the library writes its "Debug:" lines. Set once at start-up by the program.
inline bool debug = false;

/// Writes to the error stream, whatever the switches say. An error stream that can't be written
/// never stops the run.
void write_message(std::string_view text);

/// As `write_message`, with exactly one line end: added where the text, which must not be empty,
/// has none.
void write_line(std::string text);

}  // namespace KorLa

/// Traces a formatted message as "Debug:MODULE(LINE) MESSAGE". The calling file defines MODULE as
/// `trace_module`: a path that is part of the output, and so the same whatever tree it is built in.
#define KORLA_TRACE(...)                                                                     \
  do {                                                                                       \
    if (::KorLa::debug) {                                                                    \
      ::KorLa::write_line(                                                                   \
          fmt::format("Debug:{}({}) {}", trace_module, __LINE__, fmt::format(__VA_ARGS__))); \
    }                                                                                        \
  } while (false)
