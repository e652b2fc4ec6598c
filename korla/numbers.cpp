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

/// A number with a point.
struct Decimal {
  Digits digits;              ///< before the point and after it
  unsigned n_decimals = 0;    ///< of these after it
  const char* end = nullptr;  ///< null: there is no such number
};

/// Takes a number that has digits on both sides of its point.
Decimal take_decimal(const char* place) {
  Decimal found;
  const char* point = take_digits(place, found.digits);
  const unsigned n_whole = found.digits.count;
  if (point == place || *point != '.' || found.digits.cut) {
    return found;
  }
  const char* end = take_digits(point + 1, found.digits);
  found.n_decimals = found.digits.count - n_whole;
  found.end = end == point + 1 ? nullptr : end;
  return found;
}

/// Takes a number as a clock of seconds gives it, written with all the digits that it has: up to
/// seven before the point, at least eight after it, and where they are more than sixteen, so many
/// in all that some are cut. Three groups of up to eight digits, and no loop over them.
inline Decimal take_usual_decimal(const char* place) {
  const std::uint64_t whole = digit_values(load_eight(place));
  const unsigned n_whole = count_digits(find_others(whole));
  const char* point = place + n_whole;
  const std::uint64_t upper = digit_values(load_eight(point + 1));
  if (n_whole == 0 || n_whole == 8 || *point != '.' || find_others(upper) != 0) {
    return {};
  }
  const std::uint64_t lower = digit_values(load_eight(point + 9));
  const unsigned n_lower = count_digits(find_others(lower));
  const unsigned taken = std::min(n_lower, most_digits - 8 - n_whole);
  if (n_lower == 8 && taken == 8) {
    return {};
  }
  const unsigned half_shift = 32 - 4 * taken;  // in halves, since 64 bits are too many for one
  const std::uint64_t first = combine_digits(whole << (64 - 8 * n_whole));
  const std::uint64_t middle = combine_digits(upper);
  const std::uint64_t last = combine_digits(lower << half_shift << half_shift);
  const std::uint64_t number = (first * powers_of_ten[8] + middle) * powers_of_ten[taken] + last;
  const char* end = point + 9 + n_lower;
  return {.digits = {number, n_whole + 8 + taken, taken < n_lower},
          .n_decimals = 8 + taken,
          .end = n_lower < 8 ? end : skip_digits(end)};
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
inline bool divide(const Digits& digits, unsigned power, double& value) {
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

/// `read_decimal` for what `take_usual_decimal` does not take. Kept apart, as it would have the
/// usual numbers save its registers.
[[gnu::noinline]] bool read_unusual_decimal(const char*& next, double& value) {
  const char* place = skip_blanks(next);
  const bool minus = *place == '-';
  const Decimal found = take_decimal(place + (minus ? 1 : 0));
  double size = 0;
  if (found.end == nullptr || *found.end > ' ' || !divide(found.digits, found.n_decimals, size)) {
    return false;
  }
  value = minus ? -size : size;
  next = found.end;
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
  const Decimal found = take_usual_decimal(next);
  double size = 0;
  if (found.end == nullptr || *found.end > ' ' || !divide(found.digits, found.n_decimals, size)) {
    return read_unusual_decimal(next, value);
  }
  value = size;
  next = found.end;
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
