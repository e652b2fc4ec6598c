// Conversion of option values, and the NaN filters.

#include "src/settings.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "src/console.h"

namespace tavrik {

namespace {

/// The message ends in a backslash and the letter n, not in a line break. Intended.
void require_conversion(const char* text, const char* end) {
  if (end == text) {
    fail("Unable to convert \"{}\" to a number\\n", text);
  }
}

/// Ends the program when a conversion has left `errno` set.
void require_range(const char* function) {
  if (errno != 0) {
    fail_with_error_text(function);
  }
}

}  // namespace

double replace_nan(double value) {
  if (std::isnan(value)) {
    warn("Warning: encountered a Nan\n");
    return 0.0;
  }
  return value;
}

double keep_nan(double value) {
  return value;
}

int get_long(const char* text) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text, &end, 10);
  require_conversion(text, end);
  if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) {
    errno = ERANGE;
  }
  require_range("get_long");
  return static_cast<int>(value);
}

double get_double(const char* text) {
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text, &end);
  require_conversion(text, end);
  require_range("get_double");
  return value;
}

}  // namespace tavrik
