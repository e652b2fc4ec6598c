// Numbers that are not the usual short ones.

#include "korla/numbers.h"

#include <charconv>

namespace KorLa {

namespace {

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
  return read_number(next, value);
}

bool read_real(const char*& next, double& value) {
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
