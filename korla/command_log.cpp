// Composing and appending the log line.

#include "korla/command_log.h"

#include <array>
#include <clocale>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <unistd.h>

namespace KorLa {

namespace {

/// Date and time in the user's own format; empty where that is longer than the log has room for.
std::string local_date() {
  const char* in_force = std::setlocale(LC_TIME, nullptr);
  const std::string kept = in_force != nullptr ? in_force : "C";
  std::setlocale(LC_TIME, "");  // a locale that is not installed leaves the one in force
  const std::time_t now = std::time(nullptr);
  std::tm calendar{};
  std::array<char, 30> text{};
  localtime_r(&now, &calendar);
  const std::size_t length = std::strftime(text.data(), text.size(), "%x %X", &calendar);
  std::setlocale(LC_TIME, kept.c_str());
  return {text.data(), length};
}

/// Backslashes before quotes and backslashes; a line break becomes "\n", so that one run stays one
/// line.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char letter : text) {
    if (letter == '\n') {
      result += "\\n";
      continue;
    }
    if (letter == '"' || letter == '\\') {
      result += '\\';
    }
    result += letter;
  }
  return result;
}

std::string quoted(std::string_view text) {
  return '"' + escaped(text) + '"';
}

/// An argument as the log shows it: as it is, with the value of a long option in quotes, or whole
/// in quotes.
std::string shown(std::string_view argument) {
  if (argument.find_first_of(" ,*\n") == std::string_view::npos) {
    return std::string(argument);
  }
  const std::size_t equals = argument.find('=');
  if (argument.starts_with("--") && equals != std::string_view::npos) {
    const std::string_view name = argument.substr(0, equals + 1);
    if (name.find('\n') == std::string_view::npos) {
      return std::string(name) + quoted(argument.substr(equals + 1));
    }
  }
  return quoted(argument);
}

int open_for_appending(const char* path) {
  constexpr int attempts = 11;
  int file = -1;
  for (int attempt = 0; file < 0 && attempt < attempts; ++attempt) {
    // Not blocking: a pipe without a reader must not stop the run.
    file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
  }
  return file;
}

}  // namespace

void log_command_line(const char* path, int count, const char* const* arguments) {
  std::string line = local_date();
  for (int i = 0; i < count; ++i) {
    line += ' ';
    line += shown(arguments[i]);
  }
  line += '\n';

  const int file = open_for_appending(path);
  bool written = false;
  if (file >= 0) {
    written = write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    written = close(file) == 0 && written;
  }
  if (!written) {
    std::fputs("No logfile entry\n", stderr);
  }
}

}  // namespace KorLa
