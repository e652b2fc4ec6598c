#pragma once
// Messages of the program, all on the error stream, and the ways to end it early.

#include <cstdlib>
#include <fmt/format.h>

#include "korla/messages.h"

#include "src/settings.h"

namespace tavrik {

using KorLa::compose;
using KorLa::end_line;
using KorLa::end_process;
using KorLa::write_line;
using KorLa::write_message;

/// A plain line of the run's report, which --quiet does not suppress. As in all messages, texts
/// among the arguments are shown without control characters.
template <typename... Args>
void print(fmt::format_string<Args...> format, const Args&... args) {
  write_message(compose(format, args...));
}

/// An informational line, which --quiet suppresses.
template <typename... Args>
void info(fmt::format_string<Args...> format, const Args&... args) {
  if (!settings.quiet) {
    tavrik::print(format, args...);
  }
}

/// A warning or an error after which the run goes on.
template <typename... Args>
void warn(fmt::format_string<Args...> format, const Args&... args) {
  tavrik::print(format, args...);
}

/// A message after which the process ends with status 1.
template <typename... Args>
[[noreturn]] void fail(fmt::format_string<Args...> format, const Args&... args) {
  tavrik::print(format, args...);
  end_process(1);
  std::abort();
}

/// As `fail`, with the name of a function and the system's text for the current `errno`.
[[noreturn]] void fail_with_error_text(const char* function);

}  // namespace tavrik

/// Traces a formatted message as "MODULE:LINE:: debug: MESSAGE" from the given --debug level on.
/// The calling file defines MODULE as `trace_module`.
#define TAVRIK_TRACE(level, ...)                                                    \
  do {                                                                              \
    if (::tavrik::settings.debug >= (level)) {                                      \
      ::tavrik::write_line(fmt::format("{}:{}:: debug: {}", trace_module, __LINE__, \
                                       ::tavrik::compose(__VA_ARGS__)));            \
    }                                                                               \
  } while (false)
