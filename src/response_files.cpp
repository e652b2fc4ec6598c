// Expansion of response files.

#include "src/response_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/magic.h>
#include <optional>
#include <set>
#include <string_view>
#include <sys/vfs.h>
#include <system_error>
#include <utility>

#include "korla/bytes.h"

#include "src/console.h"
#include "src/run_files.h"

namespace tavrik {

namespace {

/// A file that is being expanded: its text as far as it is not yet taken.
struct Source {
  std::string path;
  FileIdentity identity;
  std::string text;
  std::size_t next = 0;
};

/// Opens the file that an argument names; null if it names none. A pipe without a writer must not
/// stop the run, and one with a writer is waited for.
KorLa::File open_response_file(const std::string& argument, KorLa::FileStatus& status) {
  if (!argument.starts_with('@') && !argument.starts_with('$')) {
    return nullptr;
  }
  const int descriptor = open(argument.c_str() + 1, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  KorLa::File file(descriptor < 0 ? nullptr : fdopen(descriptor, "r"));
  if (!file || fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode) ||
      fcntl(descriptor, F_SETFL, 0) != 0) {
    return nullptr;
  }
  return file;
}

/// Whether a pipe has a name in a folder, unlike those that a shell makes.
bool is_named_pipe(std::FILE* file, const KorLa::FileStatus& status) {
  struct statfs system {};

  return S_ISFIFO(status.st_mode) && fstatfs(fileno(file), &system) == 0 &&
         system.f_type != PIPEFS_MAGIC;
}

/// Reads the rest of a file, or its first bytes if it has more than `most`; these are more too.
std::string read_text(std::FILE* file, const std::string& path, std::size_t most) {
  constexpr std::size_t piece = 65536;
  std::string text;
  std::size_t count = piece;
  while (count == piece && text.size() <= most) {
    text.resize(text.size() + piece);
    count = std::fread(text.data() + text.size() - piece, 1, piece, file);
    text.resize(text.size() - piece + count);
  }
  if (std::ferror(file) != 0) {
    fail("Can't read {}: {}\n", path, std::generic_category().message(errno));
  }
  return text;
}

/// Takes the next line without its end, LF or CR LF; nothing after the last one.
std::optional<std::string> take_line(Source& source) {
  if (source.next == source.text.size()) {
    return std::nullopt;
  }
  const std::string_view rest = std::string_view(source.text).substr(source.next);
  std::string_view line = rest.substr(0, rest.find('\n'));
  source.next += std::min(line.size() + 1, rest.size());
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return std::string(line);
}

/// Expands one argument after the other. The bounds are on all files together: files that name
/// others twice each could make any number of lines of a few bytes.
class Expansion {
 public:
  void add(const std::string& argument);

  ExpandedArguments result;

 private:
  static constexpr std::size_t most_bytes = 64UL << 20;
  static constexpr std::size_t most_lines = 100000;
  static constexpr std::size_t most_files = 100000;

  void take(std::string argument);
  void begin(const std::string& path, std::FILE* file, const KorLa::FileStatus& status);
  void end();

  std::vector<Source> sources_;    ///< outermost first
  std::set<FileIdentity> active_;  ///< of the sources
  std::size_t n_bytes_ = 0;
  std::size_t n_lines_ = 0;  ///< of files that became arguments
};

/// Ends the program when a file brings more of something than all files may.
void require_bound(const std::string& path, std::size_t count, std::size_t most,
                   std::string_view limit) {
  if (count > most) {
    fail("Error: response file {} brings more than {}\n", path, limit);
  }
}

void Expansion::begin(const std::string& path, std::FILE* file, const KorLa::FileStatus& status) {
  if (!active_.insert(identity(status)).second) {
    fail("Error: response file {} names itself\n", path);
  }
  result.files.push_back(path);
  require_bound(path, result.files.size(), most_files, "100000 response files");
  sources_.push_back({path, identity(status), read_text(file, path, most_bytes - n_bytes_)});
  const std::size_t size = sources_.back().text.size();
  n_bytes_ += size;
  require_bound(path, n_bytes_, most_bytes, "64 MiB");
  if (size == 0 && is_named_pipe(file, status)) {
    fail("Error: nobody writes to response file {}\n", path);
  }
}

void Expansion::end() {
  active_.erase(sources_.back().identity);
  sources_.pop_back();
}

/// Takes an argument, or begins the file that it names.
void Expansion::take(std::string argument) {
  if (argument.starts_with('#')) {
    return;
  }
  KorLa::FileStatus status{};
  if (const KorLa::File file = open_response_file(argument, status)) {
    begin(argument.substr(1), file.get(), status);
    return;
  }
  if (!sources_.empty()) {
    require_bound(sources_.back().path, ++n_lines_, most_lines, "100000 arguments");
  }
  result.arguments.push_back(std::move(argument));
}

void Expansion::add(const std::string& argument) {
  take(argument);
  while (!sources_.empty()) {
    if (std::optional<std::string> line = take_line(sources_.back())) {
      take(std::move(*line));
    } else {
      end();
    }
  }
}

}  // namespace

ExpandedArguments expand_response_files(int count, const char* const* arguments) {
  Expansion expansion;
  if (count > 0) {
    expansion.result.arguments.emplace_back(arguments[0]);
  }
  for (int i = 1; i < count; ++i) {
    expansion.add(arguments[i]);
  }
  return std::move(expansion.result);
}

}  // namespace tavrik
