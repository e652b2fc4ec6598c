#pragma once
// One text result file: where it is, what it must not replace, and the writing of its numbers.

#include <charconv>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrik {

/// One result file being written. A file that is not open takes lines and drops them.
struct ResultStream {
  std::string path;
  int descriptor = -1;   ///< -1 while not open
  bool failed = false;   ///< a write failed and was reported; the rest is dropped
  std::size_t used = 0;  ///< bytes of `buffer` that wait to be written
  std::vector<char> buffer;

  bool is_open() const { return descriptor >= 0; }
};

/// A file's identity, whatever path leads to it.
struct FileIdentity {
  unsigned long device = 0;
  unsigned long inode = 0;

  bool operator==(const FileIdentity&) const = default;
};

/// What all result files and pictures of a process share.
struct ResultState {
  std::vector<FileIdentity> inputs;  ///< files that no result may overwrite
  bool output_lost = false;          ///< a result line or a picture was: the status will be 1
};

inline ResultState result_state;

/// The data file's path with the extension of its last component replaced.
std::string result_path(const std::string& data_path, const char* extension);

/// Marks a file as one that no result may overwrite.
void protect_input(const std::string& path);

/// Whether a path leads to a file that no result may overwrite.
bool is_protected(const std::string& path);

/// Opens a result file named after the data file and empties it. On failure, or when the file is
/// one of the inputs, says "Can't open PATH" and leaves the stream closed.
bool open_result(ResultStream& stream, const std::string& data_path, const char* extension);

/// Appends a text of any length, or a number in fixed notation or in general notation with 6
/// digits. Nothing is allocated. The stream must be open. precision: at most 80.
void put(ResultStream& stream, std::string_view text);
void put_fixed(ResultStream& stream, double value, int precision = 6);
void put_general(ResultStream& stream, double value);

/// Appends values that pass through the NaN filter, a blank before each.
void put_filtered(ResultStream& stream, std::chars_format format, std::span<const double> values);

/// One line: a blank before each value, then the line end.
void write_series(ResultStream& stream, std::span<const double> values);

/// Hands the lines written so far to the system. A failed write is reported once, as "Can't write
/// PATH", and remembered in result_state.
void flush_result(ResultStream& stream);

/// Flushes and closes a stream; one that is not open stays so.
void close_result(ResultStream& stream);

}  // namespace tavrik
