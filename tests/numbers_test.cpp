// Reading of numbers, held against the C library's.

#include "korla/numbers.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

/// Expects a reader to take the same number from the start of a text as the library.
template <typename Number, typename Expected>
void expect_same(bool (*read)(const char*&, Number&),
                 Expected (*read_by_library)(const char*, char**), const std::string& text) {
  // A line as the readers see it: after its end there is memory to look at.
  const std::string line = text + "\n" + std::string(8, '7');
  const std::string::size_type begin = line.find_first_not_of(" \t");
  const bool sign = line[begin] == '-' || line[begin] == '+';
  char* end = nullptr;
  errno = 0;
  const Expected expected = read_by_library(line.c_str() + begin, &end);
  const bool readable = std::string(".0123456789").find(line[begin + sign]) != std::string::npos &&
                        end != line.c_str() + begin &&
                        (errno == 0 || std::fpclassify(expected) == FP_SUBNORMAL) &&
                        expected == static_cast<Expected>(static_cast<Number>(expected));
  const char* next = line.c_str();
  Number value = 0;
  ASSERT_EQ(read(next, value), readable) << '"' << text << '"';
  ASSERT_EQ(next, readable ? end : line.c_str()) << '"' << text << '"';
  ASSERT_EQ(value, readable ? expected : 0) << '"' << text << '"';
}

void expect_same_whole(const std::string& text) {
  expect_same<std::int32_t, long>(
      KorLa::read_whole, [](const char* begin, char** end) { return std::strtol(begin, end, 10); },
      text);
}

void expect_same_real(const std::string& text) {
  expect_same<double>(KorLa::read_real, std::strtod, text);
}

TEST(numbers, are_those_of_the_library) {
  for (const char* edge : {"2147483647", "2147483648", "-2147483648", "-2147483649"}) {
    expect_same_whole(edge);
  }
  std::mt19937 random(8);
  const std::string real = "0123456789--+ \t.ee,~";
  const std::string letters = "00123456789999--+ \t.:/axApPqQ~\x19\x7f\x80\xb0\xb1\xb9\xff";
  for (int trial = 0; trial < 300000; ++trial) {
    std::string text;
    std::string real_text;
    for (unsigned n = random() % 26; n > 0; --n) {
      // Half of all characters are digits, so that most words are numbers.
      text += letters[random() % (random() % 2 == 0 ? 14 : letters.size())];
      real_text += real[random() % (random() % 2 == 0 ? 10 : real.size())];
    }
    ASSERT_NO_FATAL_FAILURE(expect_same_whole(text));
    ASSERT_NO_FATAL_FAILURE(expect_same_real(real_text));
  }
}

TEST(numbers, with_a_point_are_rounded_as_by_the_library) {
  std::mt19937_64 random(9);
  for (int trial = 0; trial < 50000; ++trial) {
    // The first are halfway between two doubles, or as near to it as digits can be.
    const std::string whole = std::to_string((std::uint64_t{1} << 52) + (random() >> 12));
    for (const char* fraction : {".5", ".500", ".499", ".501", ".50000000001", ".49999999999"}) {
      ASSERT_NO_FATAL_FAILURE(expect_same_real(whole + fraction));
    }
    const std::string digits = std::to_string(random()) + std::to_string(random());
    const std::size_t point = 1 + random() % 20;
    ASSERT_NO_FATAL_FAILURE(expect_same_real((trial % 2 == 0 ? "-" : "") + digits.substr(0, point) +
                                             "." + digits.substr(point, 1 + random() % 19)));
    ASSERT_NO_FATAL_FAILURE(expect_same_real("0." + std::string(point, '0') + digits));
  }
}

}  // namespace
