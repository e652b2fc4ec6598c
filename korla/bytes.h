#pragma once
// Opening and closing of files, and reading of packed binary data from them.

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <sys/stat.h>

namespace KorLa {

/// What the system knows of a file. The alias is needed because `stat` is a function's name too.
using FileStatus = struct stat;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A file that closes itself.
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a file for binary reading; null when it can't be opened or is not a regular file, since a
/// station file is read more than once and from known positions.
File open_for_reading(const char* path);

/// Throws std::runtime_error, "Can't read PATH: REASON", if reading from the file has failed. To be
/// called right after a read that gave less than was asked for, since `errno` has the reason.
void require_read(std::FILE* file, const std::string& path);

/// Reads up to `size` bytes into `target`, which has room for them, and sets those to zero that the
/// file no longer holds. Returns how many were read. Throws as `require_read` does.
std::size_t read_bytes(std::FILE* file, const std::string& path, void* target, std::size_t size);

/// Number of bytes from the current position to the end of the file; 0 where that can't be told.
std::size_t bytes_left(std::FILE* file);

}  // namespace KorLa
