// Numbers that are not the usual short ones.

#include "korla/numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace KorLa {

namespace {

__extension__ using Wide = unsigned __int128;

/// Digits that a 64-bit number can hold, whatever they are.
constexpr unsigned most_digits = std::numeric_limits<std::uint64_t>::digits10;

constexpr std::array<std::uint64_t, most_digits + 1> powers_of_ten = [] {
  std::array<std::uint64_t, most_digits + 1> powers{1};
  for (unsigned i = 1; i <= most_digits; ++i) {
    powers[i] = 10 * powers[i - 1];
  }
  return powers;
}();

/// Digits as they are read.
struct Digits {
  std::uint64_t number = 0;  ///< that the first of them make
  unsigned count = 0;        ///< of these, at most `most_digits`
  bool cut = false;          ///< there are more
};

/// How many of eight characters are digits, from the first on, by what `find_others` says of them.
inline unsigned count_digits(std::uint64_t others) {
  return others == 0 ? 8 : static_cast<unsigned>(std::countr_zero(others)) / 8;
}

/// Passes over digits.
inline const char* skip_digits(const char* place) {
  unsigned count = 0;
  do {
    count = count_digits(find_others(digit_values(load_eight(place))));
    place += count;
  } while (count == 8);
  return place;
}

/// Takes the digits at `place`, eight at a time; returns where they end.
inline const char* take_digits(const char* place, Digits& digits) {
  std::uint64_t values = digit_values(load_eight(place));
  std::uint64_t others = find_others(values);
  for (; others == 0 && digits.count + 8 <= most_digits; others = find_others(values)) {
    digits.number = digits.number * powers_of_ten[8] + combine_digits(values);
    digits.count += 8;
    place += 8;
    values = digit_values(load_eight(place));
  }
  const unsigned found = count_digits(others);
  const unsigned taken = std::min(found, most_digits - digits.count);
  if (taken > 0) {
    digits.number =
        digits.number * powers_of_ten[taken] + combine_digits(values << (0 - 8 * taken) % 64U);
    digits.count += taken;
  }
  digits.cut = taken < found;
  return found < 8 ? place + found : skip_digits(place + 8);
}

/// One over a power of ten: a 64-bit number whose highest bit is set, rounded down, and the
/// exponent of two by which it is to be multiplied.
struct Reciprocal {
  std::uint64_t number;
  int exponent;
};

constexpr std::array<Reciprocal, most_digits + 1> reciprocals = [] {
  std::array<Reciprocal, most_digits + 1> all{};
  for (unsigned i = 0; i <= most_digits; ++i) {
    const int shift = 63 + std::bit_width(powers_of_ten[i] - 1);
    all[i] = {static_cast<std::uint64_t>((Wide{1} << shift) / powers_of_ten[i]), -shift};
  }
  return all;
}();

/// Divides by a power of ten and rounds to the nearest double. The number, with all leading zero
/// bits shifted out, times the reciprocal is the quotient: its upper 64 bits, with a leading zero
/// bit shifted out too, are eleven more than a double has. False where these eleven are so near a
/// half that what is missing from the quotient decides: of a number of nineteen digits, those after
/// it add less than 19; both roundings down, of the reciprocal and of the product, took less than
/// 1, or 2 after the shift.
bool divide(const Digits& digits, unsigned power, double& value) {
  constexpr std::uint64_t half = 1U << 10U;
  constexpr std::uint64_t most_added = 19 + 2 + 2;
  if (digits.number == 0 || (digits.cut && digits.number < powers_of_ten[most_digits - 1])) {
    return false;
  }
  const Reciprocal& reciprocal = reciprocals[power];
  const int shift = std::countl_zero(digits.number);
  const Wide product = Wide{digits.number << shift} * reciprocal.number;
  auto quotient = static_cast<std::uint64_t>(product >> 64U);
  const auto more = static_cast<int>(1 - (quotient >> 63U));
  quotient <<= more;
  const std::uint64_t rest = quotient % (2 * half);
  if (rest <= half && rest + most_added >= half) {
    return false;
  }
  // 2^52 to 2^53, the latter from rounding up. As the bits of a double, the highest of these counts
  // one into the exponent, and 2^53 two.
  const std::uint64_t rounded = (quotient / half + 1) / 2;
  const int exponent = 64 + 11 + reciprocal.exponent - shift - more;
  value =
      std::bit_cast<double>(rounded + (static_cast<std::uint64_t>(1023 + 51 + exponent) << 52U));
  return true;
}

/// Reads a number of any kind that std::from_chars knows; a "+" in front is one too.
template <typename Number>
bool read_number(const char*& next, Number& value) {
  const char* place = skip_blanks(next);
  if (place[0] == '+' && place[1] != '-') {
    ++place;
  }
  const char* end = place;
  while (*end > ' ') {
    ++end;
  }
  const auto result = std::from_chars(place, end, value);
  if (result.ec != std::errc()) {
    return false;
  }
  next = result.ptr;
  return true;
}

}  // namespace

bool read_any_whole(const char*& next, std::int32_t& value) {
  const char* place = skip_blanks(next);
  if (read_short_whole(place, value)) {
    next = place;
    return true;
  }
  return read_number(next, value);
}

bool read_decimal(const char*& next, double& value) {
  const char* place = skip_blanks(next);
  const bool minus = *place == '-';
  place += minus ? 1 : 0;
  Digits digits;
  const char* point = take_digits(place, digits);
  const unsigned n_whole = digits.count;
  if (point == place || *point != '.' || digits.cut) {
    return false;
  }
  const char* end = take_digits(point + 1, digits);
  double size = 0;
  if (end == point + 1 || *end > ' ' || !divide(digits, digits.count - n_whole, size)) {
    return false;
  }
  value = minus ? -size : size;
  next = end;
  return true;
}

bool read_any_real(const char*& next, double& value) {
  const char* place = next;
  std::int32_t whole = 0;
  if (read_whole(place, whole) && *place <= ' ') {
    value = whole;
    next = place;
    return true;
  }
  return read_number(next, value);
}

}  // namespace KorLa
