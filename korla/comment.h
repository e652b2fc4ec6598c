#pragma once
// The comment line that 16-bit and TM4 station files begin with: three forms, of which the newest
// carries station, date and time. Used by the readers of those files.

#include <cstdint>
#include <optional>
#include <string>

namespace KorLa {

/// What a comment line says. The initial values hold for a line that says nothing.
struct Comment {
  double frequency = 18.0;           ///< samples per second
  int gain = 1;                      ///< amplifier gain, 1 to 4
  std::uint32_t block_length = 128;  ///< samples in one channel's block
  char type_letter = 'S';            ///< the letter after "!" of the newest form, S or U
  bool u_flag = false;               ///< type_letter is U
  std::string station_name;          ///< as written; empty if not
  std::string date_text;             ///< as written; empty if not
  std::string time_text;             ///< as written; empty if not
  /// Date and time, and the date's midnight, seconds since 1970 UTC; nothing where unreadable.
  std::optional<std::int64_t> record_time;
  std::optional<std::int64_t> day_time;
  bool normalised = false;  ///< no calendar shows what is written; the times are counted on
};

/// "!Tidserier FREQUENCY GAIN". Each of these tests fills what its form carries and returns whether
/// the line has the form.
bool valid_comment_type1(const std::string& line, Comment& comment);

/// "!Tidserier  sampfrek: FREQUENCY gain: GAIN".
bool valid_comment_type2(const std::string& line, Comment& comment);

/// "!S512Tidserier sampfrek: FREQUENCY gain: GAIN station: NAME date: DATE time: TIME", of which
/// everything after the frequency may be missing. A block length other than 128 or 512 is
/// warned of and accepted.
bool valid_comment_type3(const std::string& line, Comment& comment);

/// Tries the three forms in turn, without the bytes of value 127 that recorders pad the line with.
/// If none matches, warns, sets 18.0 Hz and returns false.
bool validate_comment(const std::string& line, Comment& comment);

/// As `validate_comment`, for files that have a time column: the warning has its own name and does
/// not speak of the frequency, which the column gives.
bool parse_comment(const std::string& line, Comment& comment);

/// Warns of a date or time that can't be read, that no calendar shows, or that is before 1970.
/// path: of the file, for the warning.
void warn_of_date(const std::string& path, const Comment& comment);

}  // namespace KorLa
