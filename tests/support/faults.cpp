// Preloaded into the program, this makes calls of the C library fail. TAVRIK_FAULTS has words such
// as "write:3:5:28": the third to the fifth call of `write` fail with error 28. When one of the
// first word has failed, there is a file TAVRIK_FAULTS_NOTE. Calls count from the first setlocale
// on, as the program's work begins with it; those on standard streams don't, but for pictures. What
// is replaced has another name here, lest the C library's declarations are in the way.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Fault {
  char call[32];
  long first, last;
  int error;
  long count;
};

Fault faults[4];

const char* read_faults() {
  Fault* next = faults;
  char* words = faults[0].call[0] == 0 ? getenv("TAVRIK_FAULTS") : nullptr;
  for (char* word = words; word != nullptr; word = std::strchr(word, ' ')) {
    std::sscanf(word, " %31[^:]:%ld:%ld:%d", next->call, &next->first, &next->last, &next->error);
    ++next;
    ++word;
  }
  return "";
}

/// Counts a call. Returns whether it is to fail, with errno set.
bool fails(const char* call) {
  for (Fault& fault : faults) {
    if (*call != 0 && std::strcmp(fault.call, call) == 0 && ++fault.count >= fault.first &&
        fault.count <= fault.last) {
      if (&fault == faults) {
        mknod(getenv("TAVRIK_FAULTS_NOTE"), S_IFREG | S_IRUSR, 0);
      }
      errno = fault.error;
      return true;
    }
  }
  return false;
}

const char* kind_of_open(int flags) {
  if ((flags & O_TMPFILE) == O_TMPFILE) {
    return "open_nameless";
  }
  return (flags & O_EXCL) != 0 ? "open_draft" : (flags & O_CREAT) != 0 ? "open" : "";
}

/// Gives a stream the C library's mark of a failed read. Returns what such a read gives.
std::size_t mark_failed(std::FILE* file) {
  constexpr int error_seen = 0x20;
  file->_flags |= error_seen;
  return 0;
}

}  // namespace

/// A function that fails with `result` when a call of this name is to fail.
#define TAVRIK_FAULTY(type, name, parameters, arguments, call, result)       \
  extern "C" type faulty_##name parameters asm(#name);                       \
  type faulty_##name parameters {                                            \
    static const auto genuine =                                              \
        reinterpret_cast<decltype(&faulty_##name)>(dlsym(RTLD_NEXT, #name)); \
    return fails(call) ? (result) : genuine arguments;                       \
  }

TAVRIK_FAULTY(char*, setlocale, (int part, const char* name), (part, name), read_faults(), nullptr)
TAVRIK_FAULTY(int, open, (const char* path, int flags, mode_t mode), (path, flags, mode),
              kind_of_open(flags), -1)
TAVRIK_FAULTY(ssize_t, write, (int file, const void* bytes, std::size_t size),
              (file, bytes, size > 1 && fails("short_write") ? size / 2 : size), "write", -1)
TAVRIK_FAULTY(int, close, (int file), (file), "close", -1)
TAVRIK_FAULTY(int, rename, (const char* from, const char* to), (from, to), "rename", -1)
TAVRIK_FAULTY(int, linkat, (int a, const char* from, int b, const char* to, int flags),
              (a, from, b, to, flags), "linkat", -1)
TAVRIK_FAULTY(int, ftruncate, (int file, off_t size), (file, size), "ftruncate", -1)
TAVRIK_FAULTY(int, fchmod, (int file, mode_t mode), (file, mode), "fchmod", -1)
TAVRIK_FAULTY(int, fclose, (std::FILE * file), (file), "fclose", -1)
TAVRIK_FAULTY(int, fflush, (std::FILE * file), (file), "fflush", -1)
TAVRIK_FAULTY(std::size_t, fwrite, (const void* b, std::size_t s, std::size_t n, std::FILE* file),
              (b, s, n, file), file != stderr ? "fwrite" : "", 0)
TAVRIK_FAULTY(std::size_t, fread, (void* b, std::size_t s, std::size_t n, std::FILE* file),
              (b, s, n, file), "fread", mark_failed(file))
TAVRIK_FAULTY(void*, malloc, (std::size_t size), (size), "malloc", nullptr)
TAVRIK_FAULTY(void*, memalign, (std::size_t alignment, std::size_t size), (alignment, size),
              "malloc", nullptr)
