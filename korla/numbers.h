#pragma once
// Reading of numbers from lines of text, as LineReader gives them: a line end after the text bounds
// every scan, and eight bytes may be read from any place in it. Used by the readers of text
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

/// The number of digits that eight characters begin with, the first in the lowest byte; 8 for eight
/// digits, and for fewer if the next character has bit 4 set, as '?' or 'x' has.
inline unsigned count_digits(std::uint64_t characters) {
  // Two searches for the end, side by side in the processor, that confirm each other. `ends` is the
  // short one: bit 4 is set in the digits 0x30 to 0x39, and in no blank, line end, sign or point.
  // `others` is the exact one: with 0x30 taken out a digit is 0 to 9, and adding 0x76 to anything
  // larger sets bit 7 (the carry of that touches later bytes only).
  const std::uint64_t ends = ~characters & 0x1010101010101010U;
  const std::uint64_t others = ((characters ^ 0x3030303030303030U) + 0x7676767676767676U) |
                               (characters ^ 0x3030303030303030U);
  const int end = std::countr_zero(ends) / 8;
  return end == std::countr_zero(others & 0x8080808080808080U) / 8 ? static_cast<unsigned>(end) : 8;
}

/// The number that the first 1 to 7 characters make, all of them digits. Three steps join single
/// digits to pairs, fours and eights: each multiplies the left halves by a power of ten and adds
/// the right halves, all at once.
inline std::int32_t combine_digits(std::uint64_t characters, unsigned count) {
  // The shift drops what follows the digits and puts zeros in front of them.
  std::uint64_t values = (characters ^ 0x3030303030303030U) << (64 - 8 * count);
  values = (values * 10 + (values >> 8)) & 0x00FF00FF00FF00FFU;
  values = (values * 100 + (values >> 16)) & 0x0000FFFF0000FFFFU;
  values = values * 10000 + (values >> 32);
  return static_cast<std::int32_t>(values & 0xFFFFFFFFU);
}

/// `read_whole` for numbers of any length, and for text that is no number.
bool read_any_whole(const char*& next, std::int32_t& value);

/// Reads a whole number within 32 bits and moves `next` past it. False, and `next` where it was, if
/// no number is there. Samples have one to five digits, in no order that a processor could predict:
/// a loop over digits would cost a wrong guess for most samples, so eight characters are looked at
/// together.
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
