// Drafts, and how they get their names.

#include "src/output_file.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>
#include <utility>

#include "src/console.h"

namespace tavrik {

namespace {

constexpr mode_t usual_mode = 0666;

/// Where a link leads to, so that it stays a link. One that leads nowhere, and any other file, is
/// itself.
std::string without_links(const std::string& path) {
  std::error_code ignored;
  if (!std::filesystem::is_symlink(path, ignored)) {
    return path;
  }
  const auto target = std::filesystem::canonical(path, ignored);
  return target.empty() ? path : target.string();
}

std::string folder_of(const std::string& path) {
  const auto folder = std::filesystem::path(path).parent_path();
  return folder.empty() ? "." : folder.string();
}

/// The name by which the system knows an open file that has none.
std::string name_of(int descriptor) {
  return fmt::format("/proc/self/fd/{}", descriptor);
}

/// Calls `make` with names in a folder until it succeeds, or fails for another reason than that the
/// name is taken. Returns the name; empty on failure.
template <typename Make>
std::string make_unique(const std::string& folder, Make make) {
  constexpr int attempts = 100;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    std::string name = fmt::format("{}/.tavrik-{}-{}", folder, getpid(), attempt);
    if (make(name.c_str())) {
      return name;
    }
    if (errno != EEXIST) {
      break;
    }
  }
  return "";
}

/// Opens a file without a name in the target's folder, or else one with a name of its own.
void open_draft(OutputFile& file) {
  const std::string folder = folder_of(file.target);
  file.descriptor = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, usual_mode);
  if (file.is_open() && access(name_of(file.descriptor).c_str(), F_OK) != 0) {
    close(file.descriptor);  // it could never get a name
    file.descriptor = -1;
  }
  if (!file.is_open()) {
    file.draft = make_unique(folder, [&file](const char* name) {
      file.descriptor = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, usual_mode);
      return file.is_open();
    });
  }
  file.in_place = !file.is_open();
}

void remove_draft(OutputFile& file) {
  if (!file.draft.empty()) {
    unlink(file.draft.c_str());
    file.draft.clear();
  }
}

/// Gives a draft the owner and mode of the file that it replaces.
bool take_over(int draft, const KorLa::FileStatus& old) {
  KorLa::FileStatus status{};
  if (fstat(draft, &status) != 0) {
    return false;
  }
  const bool same_owner = status.st_uid == old.st_uid && status.st_gid == old.st_gid;
  return (same_owner || fchown(draft, old.st_uid, old.st_gid) == 0) &&
         fchmod(draft, old.st_mode & mode_t{07777}) == 0;
}

/// Opens what is there, or what a link that leads nowhere stands for. Not blocking: a pipe that
/// nobody reads must not stop the run; its reader may take a moment to come.
int open_in_place(const std::string& path) {
  constexpr int attempts = 100;
  constexpr useconds_t pause = 10000;
  int descriptor = -1;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    descriptor =
        open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, usual_mode);
    if (descriptor >= 0 || errno != ENXIO) {
      break;
    }
    usleep(pause);
  }
  if (descriptor >= 0) {
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
  }
  return descriptor;
}

bool close_output(OutputFile& file) {
  return close(std::exchange(file.descriptor, -1)) == 0;
}

/// Notes which file is written: until a draft takes its name, that is the one which has it now.
void note(OutputFile& file, const KorLa::FileStatus& status) {
  if (file.noted) {
    result_state.written.erase(*file.noted);
  }
  file.noted = identity(status);
  result_state.written[*file.noted] = file.result;
}

/// Whether a draft may take a file's place: it keeps neither other names of the file, nor a pipe.
bool is_replaceable(const std::string& path, const KorLa::FileStatus& status) {
  return S_ISREG(status.st_mode) && status.st_nlink == 1 && access(path.c_str(), W_OK) == 0;
}

/// Opens a draft in place of what is there.
void open_replacement(OutputFile& file, const KorLa::FileStatus& old) {
  open_draft(file);
  if (file.is_open() && !take_over(file.descriptor, old)) {
    remove_draft(file);
    close_output(file);
  }
}

/// Opens a file beside what is there, or in its place, unless it may not be overwritten.
void open_beside_or_in_place(OutputFile& file) {
  KorLa::FileStatus old{};
  if (lstat(file.target.c_str(), &old) != 0) {
    open_draft(file);
  } else if (stat(file.target.c_str(), &old) == 0) {
    if (!may_overwrite(old, file.result)) {
      return;
    }
    if (is_replaceable(file.target, old)) {
      open_replacement(file, old);
    }
    note(file, old);
  }
  file.in_place = !file.is_open();
  if (file.in_place) {
    file.descriptor = open_in_place(file.target);
  }
}

/// Gives a draft a name, in place of what has that name.
bool take_name(OutputFile& file, const std::string& path) {
  if (file.draft.empty()) {
    const std::string nameless = name_of(file.descriptor);
    file.draft = make_unique(folder_of(path), [&nameless](const char* name) {
      return linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    });
  }
  if (file.draft.empty() || rename(file.draft.c_str(), path.c_str()) != 0) {
    return false;
  }
  file.draft.clear();
  return true;
}

/// Whether all that was written has reached the file: some file systems say so at a close only.
/// Without a descriptor to spare, the last close tells.
bool is_stored(int descriptor) {
  const int copy = dup(descriptor);
  return copy < 0 || close(copy) == 0;
}

/// Empties a file that is written in place. What was opened may be another file than was looked at.
bool empty_in_place(const OutputFile& file) {
  KorLa::FileStatus status{};
  return fstat(file.descriptor, &status) == 0 && !result_state.inputs.contains(identity(status)) &&
         (!S_ISREG(status.st_mode) || ftruncate(file.descriptor, 0) == 0);
}

}  // namespace

OutputFile open_output(const RunResult& result) {
  OutputFile file;
  file.result = result;
  file.target = without_links(result.path);
  open_beside_or_in_place(file);
  if (file.is_open() && file.in_place && !empty_in_place(file)) {
    close_output(file);
  }
  if (!file.is_open()) {
    warn("Can't open {}\n", result.path);
    result_state.output_lost = true;
  }
  return file;
}

bool would_lose_old_file(const std::string& path) {
  OutputFile file;
  file.target = without_links(path);
  KorLa::FileStatus old{};
  if (stat(file.target.c_str(), &old) != 0 || !S_ISREG(old.st_mode)) {
    return false;
  }
  if (is_replaceable(file.target, old)) {
    open_replacement(file, old);
  }
  if (!file.is_open()) {
    return true;
  }
  remove_draft(file);
  close_output(file);
  return false;
}

bool finish_output(OutputFile& file) {
  KorLa::FileStatus status{};
  if (fstat(file.descriptor, &status) != 0 || !is_stored(file.descriptor) ||
      (!file.in_place && !take_name(file, file.target))) {
    report_lost(file);
    return false;
  }
  note(file, status);
  if (!close_output(file)) {
    report_lost(file);
  }
  return true;
}

void abandon_output(OutputFile& file, off_t size) {
  const std::string kept = file.target + ".unfinished";
  KorLa::FileStatus status{};
  const bool is_cut = fstat(file.descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
                      ftruncate(file.descriptor, size) == 0;
  if (file.in_place && size > 0) {
    warn("WARNING: {} is not whole\n", file.result.path);
  } else if (size > 0 && is_cut && !is_protected(kept) && take_name(file, kept)) {
    warn("WARNING: {} is not whole, its lines so far are in {}\n", file.result.path, kept);
  } else if (size > 0) {
    warn("Can't write {}\n", kept);
  }
  remove_draft(file);
  close_output(file);
}

void report_lost(const OutputFile& file) {
  warn("Can't write {}\n", file.result.path);
  result_state.output_lost = true;
}

}  // namespace tavrik
