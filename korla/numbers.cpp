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

bool is_digit(char letter) {
  return letter >= '0' && letter <= '9';
}

/// Digits as they are read.
struct Digits {
  std::uint64_t number = 0;  ///< that the first of them make
  unsigned count = 0;        ///< of these, at most `most_digits`
  bool cut = false;          ///< there are more
};

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
  const unsigned found = others == 0 ? 8 : static_cast<unsigned>(std::countr_zero(others)) / 8;
  const unsigned taken = std::min(found, most_digits - digits.count);
  if (taken > 0) {
    digits.number =
        digits.number * powers_of_ten[taken] + combine_digits(values << (64 - 8 * taken));
    digits.count += taken;
  }
  place += taken;
  digits.cut = is_digit(*place);
  while (is_digit(*place)) {
    ++place;
  }
  return place;
}

/// Divides by a power of ten and rounds to the nearest double. With all leading zero bits shifted
/// out, the quotient of whole numbers has 64 bits, eleven more than a double. False where these
/// eleven are so near a half that digits after the nineteenth, or the quotient's remainder, decide:
/// of a number of nineteen digits, those after it add less than 19 to the quotient.
bool divide(const Digits& digits, unsigned power, double& value) {
  constexpr std::uint64_t half = 1U << 10U;
  constexpr std::uint64_t most_added = 19;
  if (digits.number == 0 || (digits.cut && digits.number < powers_of_ten[most_digits - 1])) {
    return false;
  }
  const int shift = std::countl_zero(digits.number);
  const int divisor_shift = std::countl_zero(powers_of_ten[power]);
  const std::uint64_t dividend = digits.number << shift;
  const std::uint64_t divisor = powers_of_ten[power] << divisor_shift;
  const int more = dividend < divisor ? 64 : 63;
  const auto quotient = static_cast<std::uint64_t>((Wide{dividend} << more) / divisor);
  const std::uint64_t rest = quotient % (2 * half);
  if (rest <= half && rest + most_added >= half) {
    return false;
  }
  const auto rounded = static_cast<std::int64_t>(quotient / (2 * half) + (rest > half ? 1 : 0));
  // A power of two as the bits of a double: multiplying by it is exact.
  const int exponent = divisor_shift - shift - more + 11;
  const auto scale = std::bit_cast<double>(static_cast<std::uint64_t>(1023 + exponent) << 52U);
  value = static_cast<double>(rounded) * scale;
  return true;
}

/// Reads a number that has digits on both sides of a point, and white space after it. False for any
/// other, and for one that `divide` leaves alone.
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

bool read_real(const char*& next, double& value) {
  if (read_decimal(next, value)) {
    return true;
  }
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
