// Composing and appending the log line.

#include "korla/command_log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

#include "korla/bytes.h"
#include "korla/messages.h"

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

std::string escape(std::string_view control) {
  if (control == "\n") {
    return "\\n";
  }
  std::string result;
  for (const char byte : control) {
    result += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
  }
  return result;
}

/// Control characters as escapes, so that one run stays one line and no terminal obeys the log.
/// Tabs do no harm.
std::string without_controls(std::string_view text) {
  return replace_controls(text, "\t", escape);
}

bool has_controls(std::string_view text) {
  return without_controls(text) != text;
}

/// Backslashes before quotes and backslashes, and escapes for control characters.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') {
      result += '\\';
    }
    result += letter;
  }
  return without_controls(result);
}

std::string quoted(std::string_view text) {
  return '"' + escaped(text) + '"';
}

/// An argument as the log shows it: as it is, with the value of a long option in quotes, or whole
/// in quotes.
std::string shown_in_shell(std::string_view argument) {
  if (argument.find_first_of(" ,*") == std::string_view::npos && !has_controls(argument)) {
    return std::string(argument);
  }
  const std::size_t equals = argument.find('=');
  if (argument.starts_with("--") && equals != std::string_view::npos) {
    const std::string_view name = argument.substr(0, equals + 1);
    if (!has_controls(name)) {
      return std::string(name) + quoted(argument.substr(equals + 1));
    }
  }
  return quoted(argument);
}

/// Opens the log; -1 on failure. Not blocking: a pipe without a reader must not stop the run.
int open_for_appending(const char* path, int more_flags) {
  constexpr int attempts = 11;
  int file = -1;
  for (int attempt = 0; file < 0 && attempt < attempts; ++attempt) {
    file = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | more_flags, 0666);
  }
  return file;
}

bool is_own_link(const char* path) {
  FileStatus status{};
  return lstat(path, &status) == 0 && S_ISLNK(status.st_mode) && status.st_uid == geteuid();
}

/// Whether an open file is one of those named. Only regular files are read.
bool is_among(const FileStatus& file, std::span<const std::string> paths) {
  return S_ISREG(file.st_mode) && std::ranges::any_of(paths, [&file](const std::string& path) {
           FileStatus other{};
           return stat(path.c_str(), &other) == 0 && other.st_dev == file.st_dev &&
                  other.st_ino == file.st_ino;
         });
}

/// Opens the log unless it must not be written, which is said; -1 on failure.
int open_log(const char* path, std::span<const std::string> inputs) {
  int file = open_for_appending(path, O_NOFOLLOW);
  bool refused = file < 0 && errno == ELOOP;
  if (refused && is_own_link(path)) {
    refused = false;
    file = open_for_appending(path, 0);
  }
  FileStatus status{};
  if (file >= 0 && (fstat(file, &status) != 0 || is_among(status, inputs))) {
    close(file);
    file = -1;
    refused = true;
  }
  if (refused) {
    write_message(compose("Can't open {}\n", path));
  }
  return file;
}

/// Takes the part of a line back that a full disk has let through, unless more was appended since.
void take_back(int file, ssize_t written) {
  const off_t end = lseek(file, 0, SEEK_CUR);
  FileStatus status{};
  if (written > 0 && fstat(file, &status) == 0 && status.st_size == end &&
      ftruncate(file, end - written) != 0) {
    return;  // the line stays cut: nothing more can be done about it
  }
}

/// Appends a line; false where it was not written whole.
bool append(int file, std::string_view line) {
  const ssize_t written = write(file, line.data(), line.size());
  const bool whole = written == static_cast<ssize_t>(line.size());
  if (!whole) {
    take_back(file, written);
  }
  return close(file) == 0 && whole;
}

}  // namespace

void log_command_line(const char* path, int count, const char* const* arguments,
                      std::span<const std::string> inputs) {
  std::string line = local_date();
  for (int i = 0; i < count; ++i) {
    line += ' ';
    line += shown_in_shell(arguments[i]);
  }
  line += '\n';
  const int file = open_log(path, inputs);
  if (file < 0 || !append(file, line)) {
    write_message("No logfile entry\n");
  }
}

}  // namespace KorLa
