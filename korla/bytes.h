#pragma once
// Reading of packed binary data, and closing of files. The only place that reads raw bytes.

#include <cstddef>
#include <cstdio>
#include <memory>

namespace KorLa {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A file that closes itself.
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a file for binary reading; null when it can't be opened or is not a regular file, since a
/// station file is read more than once and from known positions.
File open_for_reading(const char* path);

/// Reads up to `size` bytes into `target` and sets those to zero that the file no longer holds.
/// Returns how many were read.
std::size_t read_bytes(std::FILE* file, void* target, std::size_t size);

/// Number of bytes from the current position to the end of the file.
std::size_t bytes_left(std::FILE* file);

}  // namespace KorLa
