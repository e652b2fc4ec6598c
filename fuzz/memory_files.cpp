// The files in memory, put in front of the C library's calls by the linker (--wrap).

#include <algorithm>
#include <cstdio>
#include <sys/stat.h>

#include "fuzz/harness.h"
#include "korla/bytes.h"

// The names are those that the linker gives. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
std::FILE* __real_fopen(const char* path, const char* mode);
int __real_stat(const char* path, KorLa::FileStatus* status);
int __real_fstat(int descriptor, KorLa::FileStatus* status);
}

namespace {

const fuzz::MemoryFile* opened = nullptr;  ///< last; a stream of it has no descriptor to tell

const fuzz::MemoryFile* find(const char* path) {
  const auto found = std::ranges::find(fuzz::memory_files, path, &fuzz::MemoryFile::path);
  return found == fuzz::memory_files.end() ? nullptr : &*found;
}

int describe(const fuzz::MemoryFile& file, KorLa::FileStatus* status) {
  *status = {};
  status->st_mode = S_IFREG | S_IRUSR;
  status->st_ino = static_cast<ino_t>(&file - fuzz::memory_files.data()) + 1;
  status->st_size = static_cast<off_t>(file.bytes.size());
  status->st_mtime = 1456812000;  // 1 March 2016
  return 0;
}

/// Whether reading may wait for somebody: a response file may name a terminal.
bool may_block(const char* path) {
  KorLa::FileStatus status{};
  return __real_stat(path, &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

}  // namespace

extern "C" {

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  const fuzz::MemoryFile* file = find(path);
  if (file == nullptr) {
    return mode[0] == 'r' && may_block(path) ? nullptr : __real_fopen(path, mode);
  }
  opened = file;
  return fmemopen(const_cast<std::uint8_t*>(file->bytes.data()), file->bytes.size(), "r");
}

int __wrap_stat(const char* path, KorLa::FileStatus* status) {
  const fuzz::MemoryFile* file = find(path);
  return file == nullptr ? __real_stat(path, status) : describe(*file, status);
}

int __wrap_fstat(int descriptor, KorLa::FileStatus* status) {
  return descriptor >= 0 ? __real_fstat(descriptor, status) : describe(*opened, status);
}

/// Called by the fuzzer before the first input. Messages reach the stream's end in large pieces:
/// most inputs give some.
int LLVMFuzzerInitialize(int*, char***) {
  return std::setvbuf(stderr, nullptr, _IOFBF, 65536);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
