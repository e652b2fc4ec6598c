#pragma once
// Messages and trace lines, all on the error stream, and the one way to end the process early. Used
// by every module of korla, and through src/console.h by the program.

#include <cstdlib>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <type_traits>

namespace KorLa {

/// How a condition that ends the process does so. Tests and fuzz targets, which must live on, put a
/// throwing function here; so code after a call must cope with one that does not return.
inline void (*end_process)(int status) = std::exit;

/// Whether the library writes its "Debug:" lines. Set once at start-up by the program.
inline bool debug = false;

/// The text with each control character, except those in `kept`, replaced by what `replace` makes
/// of its bytes. Control characters are those below 0x20, 0x7f, and U+0080 to U+009F, which as a
/// byte that is no part of a UTF-8 character is one too. Other bytes stay as they are, UTF-8 or
/// not.
std::string replace_controls(std::string_view text, std::string_view kept,
                             std::string (*replace)(std::string_view bytes));

/// A text from outside, such as a file name, as a message may show it: on one line, with "?" for
/// each control character but a tab.
std::string printable(std::string_view text);

/// An argument of a message: a text as `printable` shows it, anything else as it is.
template <typename Argument>
auto shown(const Argument& argument) {
  if constexpr (std::is_convertible_v<const Argument&, std::string_view>) {
    return printable(argument);
  } else {
    return argument;
  }
}

/// As fmt::format, but no argument can bring a control character or a line break into the message.
template <typename... Args>
std::string compose(fmt::format_string<Args...> format, const Args&... args) {
  return fmt::format(fmt::runtime(format), shown(args)...);
}

/// Writes to the error stream, whatever the switches say. Line ends and tabs are kept, other
/// control characters become "?". An error stream that can't be written never stops the run.
void write_message(std::string_view text);

/// Ends the line of the last message, if that left it open.
void end_line();

/// As `write_message`, with exactly one line end: added where the text, which must not be empty,
/// has none.
void write_line(std::string text);

}  // namespace KorLa

/// Traces a formatted message as "Debug:MODULE(LINE) MESSAGE". The calling file defines MODULE as
/// `trace_module`: a path that is part of the output, and so the same whatever tree it is built in.
#define KORLA_TRACE(...)                                                                          \
  do {                                                                                            \
    if (::KorLa::debug) {                                                                         \
      ::KorLa::write_line(                                                                        \
          fmt::format("Debug:{}({}) {}", trace_module, __LINE__, ::KorLa::compose(__VA_ARGS__))); \
    }                                                                                             \
  } while (false)
