// Decimal digits by exact arithmetic in whole numbers.
//
// A double is m * 2^-s with a whole m below 2^53. Where its text has d decimals, its digits are the
// whole number nearest to m * 10^d * 2^-s: a product of at most 53 + 30 bits and a shift, both
// exact in 128 bits, so that rounding, also of ties, which go to the even digit, is a matter of
// comparing what was shifted out with a half. Numbers that are too large or too small for that, and
// those that no result holds in masses, are left to the library.

#include "src/number_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace tavrik {

namespace {

__extension__ typedef unsigned __int128 Wide;

/// Powers that fit into 64 bits.
constexpr std::array<std::uint64_t, 20> powers_of_ten = [] {
  std::array<std::uint64_t, 20> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) {
    powers[i] = 10 * powers[i - 1];
  }
  return powers;
}();

/// The decimals of "00" to "99", one after the other.
constexpr std::array<char, 200> digit_pairs = [] {
  std::array<char, 200> pairs{};
  for (std::size_t i = 0; i < 100; ++i) {
    pairs[2 * i] = static_cast<char>('0' + i / 10);
    pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return pairs;
}();

/// The whole number nearest to magnitude * 10^decimals, of two that are equally near the even one.
/// magnitude: not negative, below 2^52; decimals: at most 9.
std::uint64_t scaled(double magnitude, int decimals) {
  const auto bits = std::bit_cast<std::uint64_t>(magnitude);
  const auto exponent = static_cast<int>(bits >> 52);
  const int shift = 1075 - exponent;  // at least 1; a subnormal's is larger than the product
  const std::uint64_t mantissa = (bits & 0xfffffffffffffU) | std::uint64_t{1} << 52;
  const Wide product = Wide{mantissa} * powers_of_ten[static_cast<std::size_t>(decimals)];
  if (shift > 100) {
    return 0;
  }
  const Wide whole = product >> shift;
  const Wide rest = product - (whole << shift);
  const Wide half = Wide{1} << (shift - 1);
  const bool up = rest > half || (rest == half && (whole & 1) != 0);
  return static_cast<std::uint64_t>(whole) + (up ? 1 : 0);
}

/// Writes the last `count` digits of a number so that they end at `end`. Returns what is in front
/// of them.
std::uint64_t write_digits(char* end, std::uint64_t number, int count) {
  for (; count >= 2; count -= 2) {
    end -= 2;
    std::memcpy(end, &digit_pairs[2 * (number % 100)], 2);
    number /= 100;
  }
  if (count > 0) {
    *--end = static_cast<char>('0' + number % 10);
    number /= 10;
  }
  return number;
}

int count_digits(std::uint64_t number) {
  // A number of b bits has b * log10(2) digits, or one more; 1233 / 4096 is log10(2) to five
  // places.
  const int least = std::bit_width(number | 1) * 1233 >> 12;
  return least + (number >= powers_of_ten[static_cast<std::size_t>(least)] ? 1 : 0);
}

/// Writes a whole number of units of 10^-decimals.
char* write_units(char* place, std::uint64_t units, int decimals) {
  const int digits = std::max(count_digits(units), decimals + 1);
  char* end = place + digits + (decimals > 0 ? 1 : 0);
  char* point = end - decimals;
  if (decimals > 0) {
    units = write_digits(end, units, decimals);
    *--point = '.';
  }
  write_digits(point, units, digits - decimals);
  return end;
}

char* write_by_library(char* place, double value, std::chars_format format, int precision) {
  return std::to_chars(place, place + longest_number, value, format, precision).ptr;
}

/// Decimals that show six digits of a number from 0.0001 to below 1000000.
int decimals_of_six_digits(double magnitude) {
  // No double lies between one of these powers of ten and the double that stands for it.
  constexpr double bounds[] = {1e5, 1e4, 1e3, 1e2, 1e1, 1e0, 1e-1, 1e-2, 1e-3, 0};
  int decimals = 0;
  while (magnitude < bounds[decimals]) {
    ++decimals;
  }
  return decimals;
}

}  // namespace

char* write_fixed(char* place, double value, int decimals) {
  constexpr double bound = 1e10;  // with 6 decimals its digits fit into 64 bits
  const double magnitude = std::fabs(value);
  if (!(magnitude < bound) || decimals > 6) {
    return write_by_library(place, value, std::chars_format::fixed, decimals);
  }
  if (std::signbit(value)) {
    *place++ = '-';
  }
  return write_units(place, scaled(magnitude, decimals), decimals);
}

char* write_general(char* place, double value) {
  constexpr double smallest = 1e-4;
  constexpr double largest = 999999;  // above it, rounding may give a seventh digit
  const double magnitude = std::fabs(value);
  if (!(magnitude >= smallest && magnitude <= largest) && magnitude != 0) {
    return write_by_library(place, value, std::chars_format::general, 6);
  }
  if (std::signbit(value)) {
    *place++ = '-';
  }
  if (magnitude == 0) {
    *place = '0';
    return place + 1;
  }
  int decimals = decimals_of_six_digits(magnitude);
  std::uint64_t units = scaled(magnitude, decimals);
  for (; decimals > 0 && units % 10 == 0; --decimals) {
    units /= 10;
  }
  return write_units(place, units, decimals);
}

}  // namespace tavrik
