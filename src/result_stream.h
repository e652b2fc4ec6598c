#pragma once
// One text result file: where it is, and the writing of its numbers.

#include <array>
#include <charconv>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "src/output_file.h"

namespace tavrik {

/// One result file being written. A file that is not open takes lines and drops them.
struct ResultStream {
  OutputFile file;
  bool failed = false;   ///< a write failed and was reported; the rest is dropped
  off_t size = 0;        ///< bytes of the whole lines that were written
  std::size_t used = 0;  ///< bytes of `buffer` that wait to be written
  std::vector<char> buffer;
  std::array<std::size_t, 16> nans{};  ///< values that were no numbers, by column, from 1

  bool is_open() const { return file.is_open(); }
};

/// The data file's path with the extension of its last component replaced.
std::string result_path(const std::string& data_path, const char* extension);

/// Opens a result file named after the data file, to be written anew: see open_output. Returns
/// whether it is open.
bool open_result(ResultStream& stream, const std::string& data_path, const char* extension);

/// Appends a text, or a number in fixed notation or in general notation with 6 digits. Nothing is
/// allocated, but for a line longer than the buffer. The stream must be open. precision: at
/// most 80.
void put(ResultStream& stream, std::string_view text);
void put_fixed(ResultStream& stream, double value, int precision = 6);
void put_general(ResultStream& stream, double value);

/// Appends values that pass through the NaN filter, a blank before each. column: of the first. Of a
/// column only the first NaN is reported by the filter; the end of the file tells how many follow.
void put_filtered(ResultStream& stream, std::chars_format format, std::size_t column,
                  std::span<const double> values);

/// One line: a blank before each value, then the line end.
void write_series(ResultStream& stream, std::span<const double> values);

/// Hands the whole lines written so far to the system. A failed write is reported once, as "Can't
/// write PATH", and remembered in result_state.
void flush_result(ResultStream& stream);

/// Closes a stream whose lines are all written, so that its file takes its name; one that is not
/// open stays so. After a failed write it is abandoned.
void finish_result(ResultStream& stream);

/// Closes a stream that lacks lines: see abandon_output.
void abandon_result(ResultStream& stream);

}  // namespace tavrik
