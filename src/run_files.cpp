// What a run may overwrite.

#include "src/run_files.h"

#include <filesystem>

#include "src/console.h"

namespace tavrik {

namespace {

bool is_same_file(const std::string& a, const std::string& b) {
  std::error_code ignored;
  return a == b || std::filesystem::equivalent(a, b, ignored);
}

bool have_same_extension(const std::string& a, const std::string& b) {
  return std::filesystem::path(a).extension() == std::filesystem::path(b).extension();
}

}  // namespace

FileIdentity identity(const KorLa::FileStatus& status) {
  return {status.st_dev, status.st_ino};
}

void protect_input(const std::string& path) {
  KorLa::FileStatus status{};
  if (stat(path.c_str(), &status) == 0) {
    result_state.inputs.insert(identity(status));
  }
}

void protect_stream(int descriptor) {
  KorLa::FileStatus status{};
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    result_state.inputs.insert(identity(status));
  }
}

bool is_protected(const std::string& path) {
  KorLa::FileStatus status{};
  return stat(path.c_str(), &status) == 0 && result_state.inputs.contains(identity(status));
}

bool may_overwrite(const KorLa::FileStatus& status, const RunResult& result) {
  if (result_state.inputs.contains(identity(status))) {
    return false;
  }
  const auto known = result_state.written.find(identity(status));
  if (known == result_state.written.end()) {
    return true;
  }
  const RunResult& other = known->second;
  if (is_same_file(other.data_path, result.data_path)) {
    return have_same_extension(other.path, result.path);  // the same file once more
  }
  warn("WARNING: {}: {} holds the results of {}\n", result.data_path, result.path, other.data_path);
  return false;
}

}  // namespace tavrik
