// Reading of numbers, held against the C library's.

#include "korla/numbers.h"

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

/// A line as the readers see it: behind its end there is memory to look at.
std::string line_of(const std::string& text) {
  return text + "\n" + std::string(8, '7');
}

void expect_same_whole(const std::string& text) {
  const std::string line = line_of(text);
  const char* begin = line.c_str() + line.find_first_not_of(" \t");
  const bool sign = *begin == '-' || *begin == '+';
  char* end = nullptr;
  const long expected = std::strtol(begin, &end, 10);
  const bool readable = std::isdigit(static_cast<unsigned char>(begin[sign ? 1 : 0])) != 0 &&
                        expected == static_cast<std::int32_t>(expected);
  const char* next = line.c_str();
  std::int32_t value = 0;
  ASSERT_EQ(KorLa::read_whole(next, value), readable) << '"' << text << '"';
  ASSERT_EQ(next, readable ? end : line.c_str()) << '"' << text << '"';
  ASSERT_EQ(value, readable ? expected : 0) << '"' << text << '"';
}

TEST(read_whole, agrees_with_the_library_on_random_words) {
  for (const char* edge : {"2147483647", "2147483648", "-2147483648", "-2147483649"}) {
    expect_same_whole(edge);
  }
  std::mt19937 random(8);
  const std::string letters = "00123456789999--+ \t.:/axApPqQ~\x19\x7f\x80\xb0\xb1\xb9\xff";
  for (int trial = 0; trial < 300000; ++trial) {
    std::string text;
    for (unsigned n = random() % 26; n > 0; --n) {
      // Half of all characters are digits, so that most words are numbers.
      text += letters[random() % (random() % 2 == 0 ? 14 : letters.size())];
    }
    ASSERT_NO_FATAL_FAILURE(expect_same_whole(text));
  }
}

TEST(read_real, takes_numbers_in_any_notation) {
  const struct {
    const char* text;
    double value;
    int taken;  ///< characters; 0 if there is no number
  } table[] = {{"0.055556 3", 0.055556, 8},
               {" \t-12.5e-1x", -1.25, 10},
               {"+7", 7, 2},
               {"-7.", -7, 3},
               {".5", 0.5, 2},
               {"123456789012", 123456789012.0, 12},
               {"inf", HUGE_VAL, 3},
               {"2,5", 2, 1},
               {"1e999", 0, 0},
               {"", 0, 0},
               {"--5", 0, 0}};

  for (const auto& row : table) {
    SCOPED_TRACE(row.text);
    const std::string line = line_of(row.text);
    const char* next = line.c_str();
    double value = 0;
    EXPECT_EQ(KorLa::read_real(next, value), row.taken > 0);
    EXPECT_EQ(value, row.value);
    EXPECT_EQ(next - line.c_str(), row.taken);
  }
}

}  // namespace
