#pragma once
// Writing of recordings as station files of every format that the array has used. Used by
// make_recording and the tests.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tools/recording.h"

namespace recording {

enum class Format {
  ko24_0,        ///< ko24 of version 0
  ko24_1,        ///< ... 1
  ko24_2,        ///< ... 2
  text,          ///< 16-bit text; a comment line with station, date and time; lines end in LF
  text_crlf,     ///< the same with CR LF
  text_form1,    ///< 16-bit text; a comment line with nothing but frequency and gain
  text_form2,    ///< the same in the second form of comment lines
  binary,        ///< 16-bit blocks with minute and second in front
  binary_plain,  ///< 16-bit blocks of samples alone: no times, and always at 18 Hz
  binary_u,      ///< 16-bit blocks with seconds since 1970 UTC in front
  tm4,           ///< text with a time column
};

/// The format of a name such as "ko24-1", "text-crlf" or "binary"; nothing for any other word.
std::optional<Format> find_format(std::string_view name);

/// The names of all formats, separated by blanks.
std::string format_names();

/// Whether a format's comment line has block length, station, date and time, so whether a recording
/// in it needs a station that has a name.
bool has_full_comment(Format format);

/// Seconds of a recording that the station has lost.
struct Gap {
  double start = 0.0;  ///< seconds into the recording
  double length = 0.0;
};

/// How a recording is stored.
struct Storage {
  Format format = Format::ko24_1;
  /// 128 or 512 samples in a block; without a value 512 where the format can say so, else 128. Only
  /// 16-bit files have blocks.
  std::optional<std::size_t> block_length = std::nullopt;
  Gap gap = {};
};

/// Writes a station file.
/// 16-bit formats hold three channels, clamp samples to 16 bits, and leave out blocks that are not
/// whole, at the end and in front of a gap. All but ko24 lose the fraction of the start's second;
/// blocks carry the second that they begin in, and text marks a gap with a line of its own too.
///
/// Throws std::runtime_error, which names the file, when it can't be written whole or when the
/// format has no room for the recording: for its channels, its start (1970 to 2106), its station
/// (one without a name of its own in the tables), its frequency, a block length, or a gap (any at
/// all, or one before a whole block or the second line).
void write_recording(const std::string& path, const Recording& recording, const Storage& storage);

}  // namespace recording
