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

/// Eight characters, the first in the lowest byte.
inline std::uint64_t load_eight(const char* place) {
  std::uint64_t characters = 0;
  std::memcpy(&characters, place, sizeof characters);
  return characters;
}

/// Takes '0' out of eight characters: digits become 0 to 9, anything else something larger.
inline std::uint64_t digit_values(std::uint64_t characters) {
  return characters ^ 0x3030303030303030U;
}

/// Bit 7 of each byte: whether it is larger than 9. Exact up to the first that is, since the carry
/// of the addition touches later bytes only.
inline std::uint64_t find_others(std::uint64_t values) {
  return ((values + 0x7676767676767676U) | values) & 0x8080808080808080U;
}

/// The number that eight digit values make. Three steps join single digits to pairs, fours and
/// eights: each multiplies the left halves by a power of ten and adds the right halves, all at
/// once.
inline std::uint64_t combine_digits(std::uint64_t values) {
  values = values * 10 + (values >> 8);
  values = ((values & 0x00FF00FF00FF00FFU) * (100 * 0x10000 + 1)) >> 16;
  return ((values & 0x0000FFFF0000FFFFU) * (10000 * 0x100000000U + 1)) >> 32;
}

/// Reads a whole number of one to seven characters, which has no blanks before it. False where
/// there is no such number, or a longer one, or one that a letter follows. Samples have one to five
/// digits, in no order that a processor could predict: a loop over digits would cost a wrong guess
/// for most samples, so eight characters are looked at together.
inline bool read_short_whole(const char*& next, std::int32_t& value) {
  std::uint64_t values = digit_values(load_eight(next));
  // Bit 4 is set in the digits 0x30 to 0x39, and in no blank, line end, sign or point. So it tells
  // where the digits end; that all of them are digits is looked at below. The first character is
  // not asked, so that the next number's place does not wait for this one's sign.
  const std::uint64_t ends = values & 0x1010101010101000U;
  const auto end = static_cast<unsigned>(std::countr_zero(ends));
  const std::uint64_t count = end / 8;
  constexpr std::uint64_t minus = '-' ^ '0';
  const std::uint64_t negative = (values & 0xFFU) == minus ? ~std::uint64_t{0} : 0;  // all bits
  values ^= negative & minus;                                                        // "-5" as "05"
  // The shift, by 64 less 8 for each digit, drops what follows them and puts zeros in front.
  values <<= (4 - end) % 64U;
  const bool only_sign = count + negative == 0;
  if (ends == 0 || only_sign || find_others(values) != 0) {
    return false;
  }
  value = static_cast<std::int32_t>((combine_digits(values) ^ negative) - negative);
  next += count;
  return true;
}

/// Reads a short whole number that follows a single blank, as most do. False for any other, and
/// `next` where it was.
inline bool read_usual_whole(const char*& next, std::int32_t& value) {
  const char* place = next + 1;
  if (*next != ' ' || !read_short_whole(place, value)) {
    return false;
  }
  next = place;
  return true;
}

/// `read_whole` for any number of blanks and digits, and for text that is no number.
bool read_any_whole(const char*& next, std::int32_t& value);

/// Reads a whole number within 32 bits and moves `next` past it. False, and `next` where it was, if
/// no number is there.
inline bool read_whole(const char*& next, std::int32_t& value) {
  return read_usual_whole(next, value) || read_any_whole(next, value);
}

/// Reads a number with a point, as the times of samples are written: it has digits on both sides of
/// the point, and white space after it. False, and `next` where it was, for any other, and for the
/// few that it can't round.
bool read_decimal(const char*& next, double& value);

/// `read_real` for what `read_decimal` leaves.
bool read_any_real(const char*& next, double& value);

/// Reads a number in any notation, correctly rounded; as `read_whole` otherwise.
inline bool read_real(const char*& next, double& value) {
  return read_decimal(next, value) || read_any_real(next, value);
}

}  // namespace KorLa
