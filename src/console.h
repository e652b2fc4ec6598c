#pragma once
// Messages of the program, all on the error stream, and the one way to end it early.

#include <cstdlib>
#include <fmt/format.h>
#include <string_view>
#include <utility>

#include "korla/trace.h"

#include "src/settings.h"

namespace tavrik {

using KorLa::end_process;

/// Writes to the error stream. An error stream that can't be written never stops the run.
void write_message(std::string_view text);

/// An informational line, which --quiet suppresses.
template <typename... Args>
void info(fmt::format_string<Args...> format, Args&&... args) {
  if (!settings.quiet) {
    write_message(fmt::format(format, std::forward<Args>(args)...));
  }
}

/// A warning or an error after which the run goes on.
template <typename... Args>
void warn(fmt::format_string<Args...> format, Args&&... args) {
  write_message(fmt::format(format, std::forward<Args>(args)...));
}

/// A message after which the process ends with status 1.
template <typename... Args>
[[noreturn]] void fail(fmt::format_string<Args...> format, Args&&... args) {
  write_message(fmt::format(format, std::forward<Args>(args)...));
  end_process(1);
  std::abort();
}

/// As `fail`, with the name of a function and the system's text for the current `errno`.
[[noreturn]] void fail_with_error_text(const char* function);

/// Writes "MODULE:LINE:: debug: MESSAGE" with exactly one line end.
void write_trace(const char* module, int line, std::string_view message);

}  // namespace tavrik

/// Traces a formatted message from the given --debug level on; the calling file defines its path as
/// `trace_module`.
#define TAVRIK_TRACE(level, ...)                                               \
  do {                                                                         \
    if (::tavrik::settings.debug >= (level)) {                                 \
      ::tavrik::write_trace(trace_module, __LINE__, fmt::format(__VA_ARGS__)); \
    }                                                                          \
  } while (false)
