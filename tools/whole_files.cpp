// Drafts of several files.

#include "tools/whole_files.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

#include "src/output_file.h"

namespace traces {

namespace {

/// Drafts that vanish unless they get their names.
class Drafts {
 public:
  Drafts() = default;
  Drafts(const Drafts&) = delete;
  Drafts& operator=(const Drafts&) = delete;

  ~Drafts() {
    for (tavrik::OutputFile& file : files_) {
      if (file.is_open()) {
        tavrik::abandon_output(file, 0);
      }
    }
  }

  void add(const WholeFile& file) {
    files_.push_back(tavrik::open_output({.path = file.path, .data_path = file.path}));
    if (!files_.back().is_open()) {
      throw std::runtime_error(file.path + ": it can't be written");
    }
    write_all(file.path, file.bytes);
  }

  void finish() {
    for (tavrik::OutputFile& file : files_) {
      if (!tavrik::finish_output(file)) {
        throw std::runtime_error(file.result.path + ": it did not get its name");
      }
    }
  }

 private:
  void write_all(const std::string& path, std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = write(files_.back().descriptor, bytes.data(), bytes.size());
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count <= 0) {
        throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
      }
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  std::vector<tavrik::OutputFile> files_;
};

/// Refuses what could not stay as it is until all files are whole.
void require_replaceable(const std::string& path) {
  if (tavrik::is_protected(path)) {
    throw std::runtime_error(path + ": it is an input, and stays as it is");
  }
  if (tavrik::would_lose_old_file(path)) {
    throw std::runtime_error(
        path +
        ": it can't be replaced in one step: it has other names (hard links) or "
        "another owner, or its folder or it can't be written");
  }
}

}  // namespace

void write_whole_files(const std::vector<WholeFile>& files,
                       const std::vector<std::string>& inputs) {
  tavrik::result_state = {};  // of an earlier conversion, whose files may be gone
  for (const std::string& input : inputs) {
    tavrik::protect_input(input);
  }
  for (const WholeFile& file : files) {
    require_replaceable(file.path);
  }
  Drafts drafts;
  for (const WholeFile& file : files) {
    drafts.add(file);
  }
  drafts.finish();
}

}  // namespace traces
