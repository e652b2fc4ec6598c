// Reading of packed binary data.

#include "korla/bytes.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "korla/messages.h"

namespace KorLa {

File open_for_reading(const char* path) {
  // A look before opening: opening a pipe that nobody writes to would wait for ever.
  FileStatus status{};
  if (stat(path, &status) != 0 || !S_ISREG(status.st_mode)) {
    return nullptr;
  }
  return File(std::fopen(path, "rbe"));
}

void require_read(std::FILE* file, const std::string& path) {
  if (std::ferror(file) != 0) {
    throw std::runtime_error(
        compose("Can't read {}: {}\n", path, std::generic_category().message(errno)));
  }
}

std::size_t read_bytes(std::FILE* file, const std::string& path, void* target, std::size_t size) {
  const std::size_t count = std::fread(target, 1, size, file);
  require_read(file, path);
  std::memset(static_cast<char*>(target) + count, 0, size - count);
  return count;
}

std::size_t bytes_left(std::FILE* file) {
  FileStatus status{};
  const off_t position = ftello(file);
  if (position < 0 || fstat(fileno(file), &status) != 0 || status.st_size <= position) {
    return 0;
  }
  return static_cast<std::size_t>(status.st_size - position);
}

}  // namespace KorLa
