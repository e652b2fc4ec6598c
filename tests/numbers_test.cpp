// Reading of numbers, held against the C library's.

#include "korla/numbers.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

/// A line as the readers see it: behind its end there is memory to look at.
std::string line_of(const std::string& text) {
  return text + "\n" + std::string(8, '7');
}

/// What `read_whole` should make of a line: true and the number of characters taken, or false.
bool slow_read_whole(const std::string& line, std::int32_t& value, std::size_t& taken) {
  const std::size_t start = line.find_first_not_of(" \t");
  const bool sign = line[start] == '-' || line[start] == '+';
  if (std::isdigit(static_cast<unsigned char>(line[start + (sign ? 1 : 0)])) == 0) {
    return false;
  }
  char* end = nullptr;
  const long number = std::strtol(line.c_str() + start, &end, 10);
  if (number < std::numeric_limits<std::int32_t>::min() ||
      number > std::numeric_limits<std::int32_t>::max()) {
    return false;
  }
  value = static_cast<std::int32_t>(number);
  taken = static_cast<std::size_t>(end - line.c_str());
  return true;
}

void expect_same_whole(const std::string& text) {
  const std::string line = line_of(text);
  std::int32_t expected = 0;
  std::size_t taken = 0;
  const bool readable = slow_read_whole(line, expected, taken);
  const char* next = line.c_str();
  std::int32_t value = 0;
  ASSERT_EQ(KorLa::read_whole(next, value), readable) << '"' << text << '"';
  ASSERT_EQ(next - line.c_str(), static_cast<std::ptrdiff_t>(taken)) << '"' << text << '"';
  ASSERT_EQ(value, expected) << '"' << text << '"';
}

TEST(read_whole, takes_numbers_of_every_length) {
  for (int digits = 0; digits <= 25; ++digits) {
    for (const std::string sign : {"", "-", "+", "--", "+-", "- "}) {
      for (const char* behind : {"", " 5", "\t", "-3", "x", ".5", ":", "p", "\xb1", "\x19", "/"}) {
        for (const char digit : {'0', '1', '9'}) {
          expect_same_whole(sign + std::string(static_cast<std::size_t>(digits), digit) + behind);
        }
      }
    }
  }
  for (const char* edge : {"2147483647", "2147483648", "-2147483648", "-2147483649"}) {
    expect_same_whole(edge);
  }
}

TEST(read_whole, agrees_with_the_library_on_random_words) {
  std::mt19937 random(8);
  const std::string letters = "00123456789999- +\t.:/aApPqQ~\x7f\x80\xb0\xb9\xff";
  for (int trial = 0; trial < 300000; ++trial) {
    std::string text;
    for (unsigned n = random() % 14; n > 0; --n) {
      // Half of all characters are digits, so that most words are numbers.
      text += letters[random() % (random() % 2 == 0 ? 14 : letters.size())];
    }
    ASSERT_NO_FATAL_FAILURE(expect_same_whole(text));
  }
}

TEST(read_real, takes_numbers_in_any_notation) {
  struct Row {
    std::string text;
    bool readable;
    double value = 0;
    std::size_t taken = 0;
  };

  const std::vector<Row> table = {
      {"0.055556 3", true, 0.055556, 8},
      {" \t-12.5e-1x", true, -1.25, 10},
      {"+7", true, 7, 2},
      {"7", true, 7, 1},
      {"-7.", true, -7, 3},
      {".5", true, 0.5, 2},
      {"123456789012", true, 123456789012.0, 12},
      {"inf", true, HUGE_VAL, 3},
      {"2,5", true, 2, 1},
      {"1e999", false},
      {"x", false},
      {"-", false},
      {"", false},
      {"--5", false},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.text);
    const std::string line = line_of(row.text);
    const char* next = line.c_str();
    double value = 0;
    EXPECT_EQ(KorLa::read_real(next, value), row.readable);
    EXPECT_EQ(value, row.value);
    EXPECT_EQ(next - line.c_str(), static_cast<std::ptrdiff_t>(row.taken));
  }
}

}  // namespace
