#pragma once
// Reading of numbers from lines of text. A line end behind the text bounds every scan; see
// LineReader. Used by the readers of text formats.

#include <charconv>
#include <cstdint>
#include <limits>

namespace KorLa {

inline const char* skip_blanks(const char* next) {
  while (*next == ' ' || *next == '\t') {
    ++next;
  }
  return next;
}

/// Reads a whole number within 32 bits and moves `next` behind it. False, and `next` where it was,
/// if there is none.
inline bool read_whole(const char*& next, std::int32_t& value) {
  const char* place = skip_blanks(next);
  const bool negative = *place == '-';
  if (negative || *place == '+') {
    ++place;
  }
  const char* first_digit = place;
  std::int64_t number = 0;
  for (unsigned digit = 0; (digit = static_cast<unsigned>(*place) - '0') <= 9; ++place) {
    number = number * 10 + digit;
    if (number > std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1) {
      return false;
    }
  }
  number = negative ? -number : number;
  if (place == first_digit || number > std::numeric_limits<std::int32_t>::max()) {
    return false;
  }
  value = static_cast<std::int32_t>(number);
  next = place;
  return true;
}

/// Reads a number in any notation; as `read_whole` otherwise.
inline bool read_real(const char*& next, double& value) {
  const char* place = skip_blanks(next);
  if (*place == '+') {
    ++place;
  }
  const char* token_end = place;
  while (*token_end > ' ') {
    ++token_end;
  }
  const auto [end, error] = std::from_chars(place, token_end, value);
  if (error != std::errc()) {
    return false;
  }
  next = end;
  return true;
}

}  // namespace KorLa
