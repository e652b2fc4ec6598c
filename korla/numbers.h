#pragma once
// Reading of numbers from lines of text, as LineReader gives them: a line end behind the text
// bounds every scan, and eight bytes may be read from any place in it. Used by the readers of text
// formats.

#include <bit>
#include <cstdint>
#include <cstring>

namespace KorLa {

inline const char* skip_blanks(const char* next) {
  while (*next == ' ' || *next == '\t') {
    ++next;
  }
  return next;
}

/// The number of digits that eight characters begin with, the first in the lowest byte; 8 if there
/// is no end to them, or if something stands behind them that is neither white space nor a sign.
inline unsigned count_digits(std::uint64_t characters) {
  // All digits have this bit, white space and signs have not: the end is found in two steps, and
  // whether these were digits is not waited for.
  const std::uint64_t ends = ~characters & 0x1010101010101010U;
  const std::uint64_t others = ((characters ^ 0x3030303030303030U) + 0x7676767676767676U) |
                               (characters ^ 0x3030303030303030U);
  const int end = std::countr_zero(ends) / 8;
  return end == std::countr_zero(others & 0x8080808080808080U) / 8 ? static_cast<unsigned>(end) : 8;
}

/// The number that the first 1 to 7 characters make: pairs, fours and eights are added up side by
/// side.
inline std::int32_t combine_digits(std::uint64_t characters, unsigned count) {
  std::uint64_t values = (characters ^ 0x3030303030303030U) << (64 - 8 * count);
  values = (values * 10 + (values >> 8)) & 0x00FF00FF00FF00FFU;
  values = (values * 100 + (values >> 16)) & 0x0000FFFF0000FFFFU;
  values = values * 10000 + (values >> 32);
  return static_cast<std::int32_t>(values & 0xFFFFFFFFU);
}

/// `read_whole` for numbers of any length, and for those that are none.
bool read_any_whole(const char*& next, std::int32_t& value);

/// Reads a whole number within 32 bits and moves `next` behind it. False, and `next` where it was,
/// if there is none. Samples have few digits and their number varies, so that a loop over them
/// would cost a wrong guess of the processor for most; eight characters are looked at together
/// instead.
inline bool read_whole(const char*& next, std::int32_t& value) {
  const char* place = skip_blanks(next);
  std::uint64_t characters = 0;
  std::memcpy(&characters, place, sizeof characters);
  const unsigned negative = (characters & 0xFFU) == '-' ? 1 : 0;
  characters >>= 8 * negative;
  const unsigned count = count_digits(characters);
  if (count == 0 || count + negative >= 8) {  // none, or more than were looked at
    return read_any_whole(next, value);
  }
  const std::int32_t sign = -static_cast<std::int32_t>(negative);
  value = (combine_digits(characters, count) ^ sign) - sign;
  next = place + negative + count;
  return true;
}

/// Reads a number in any notation; as `read_whole` otherwise.
bool read_real(const char*& next, double& value);

}  // namespace KorLa
