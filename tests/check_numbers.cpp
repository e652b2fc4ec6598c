// Compares the texts of numbers with those of the library: check_numbers COUNT, of random numbers
// of each of four kinds, after all that lie near a tie or a power of ten. Says what differs.

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string_view>

#include "src/number_text.h"

namespace {

long differences = 0;

void compare(double value) {
  char expected[tavrik::longest_number];
  char actual[tavrik::longest_number];
  const auto check = [&](const char* end, std::chars_format format, int precision) {
    const char* right =
        std::to_chars(expected, expected + tavrik::longest_number, value, format, precision).ptr;
    const std::string_view a(expected, static_cast<std::size_t>(right - expected));
    const std::string_view b(actual, static_cast<std::size_t>(end - actual));
    if (a != b && ++differences < 20) {
      std::printf("%a: %.*s, not %.*s\n", value, static_cast<int>(b.size()), b.data(),
                  static_cast<int>(a.size()), a.data());
    }
  };
  check(tavrik::write_fixed(actual, value, 6), std::chars_format::fixed, 6);
  check(tavrik::write_fixed(actual, value, 4), std::chars_format::fixed, 4);
  check(tavrik::write_general(actual, value), std::chars_format::general, 6);
}

/// A number, its negative and its neighbours.
void compare_around(double value) {
  for (const double near : {value, std::nextafter(value, 0.0), std::nextafter(value, 1e300)}) {
    compare(near);
    compare(-near);
  }
}

/// Ties, and powers of ten with what rounds up to them.
void compare_edges() {
  for (int exponent = -320; exponent <= 308; ++exponent) {
    for (const double digits : {1.0, 9.999995, 9.9999949, 9.9999951, 1.5, 2.5, 5.0}) {
      compare_around(digits * std::pow(10, exponent));
    }
  }
  for (int power = 0; power <= 60; ++power) {
    for (int odd = 1; odd < 2000; odd += 2) {
      compare_around(std::ldexp(odd, -power));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const long count = argc > 1 ? std::atol(argv[1]) : 0;
  std::mt19937_64 random(1);
  std::uniform_real_distribution<double> magnitude(-6, 11);
  std::uniform_int_distribution<std::int64_t> millionths(0, 2'000'000'000'000'000);
  compare_edges();
  for (long i = 0; i < count; ++i) {
    compare(std::bit_cast<double>(random()));
    compare(std::pow(10, magnitude(random)));
    const std::int64_t units = millionths(random) >> (random() % 50);
    compare(static_cast<double>(units) / 1e6);
    compare(static_cast<double>(2 * units + 1) / 2e6);
  }
  std::printf("%ld differences\n", differences);
  return differences == 0 ? 0 : 1;
}
