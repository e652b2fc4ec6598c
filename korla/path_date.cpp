// Matching of paths against the patterns of station files.

#include "korla/path_date.h"

#include <array>
#include <ctime>
#include <string_view>

#include "korla/bytes.h"
#include "korla/calendar.h"
#include "korla/messages.h"
#include "korla/stations.h"

namespace KorLa {

namespace {

/// The patterns in the order in which they are tried. Y: year of four digits; y: its last digit;
/// M, D, H: month, day, hour of two digits each; i: two digits that are given elsewhere too;
/// s: the station's letter; /: any one character; . : a point; |: no further digit.
constexpr std::array<std::string_view, 5> patterns = {
    "Yii/syMDH.", "Y/i/Yii/syMDH.", "sYMDH.", "syMDH.", "syMDH|",
};

struct Fields {
  std::optional<int> year;
  int year_digit = 0;
  CalendarTime time;
  std::string station;  ///< short form
};

bool is_digit(char letter) {
  return letter >= '0' && letter <= '9';
}

bool is_letter(char letter) {
  return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z');
}

/// Takes a number of exactly `width` digits from the front of the text.
bool take_number(std::string_view& text, std::size_t width, int& number) {
  if (text.size() < width) {
    return false;
  }
  number = 0;
  for (const char letter : text.substr(0, width)) {
    if (!is_digit(letter)) {
      return false;
    }
    number = number * 10 + (letter - '0');
  }
  text.remove_prefix(width);
  return true;
}

/// Takes the station's letter, and the "2" that may follow it.
bool take_station(std::string_view& text, bool second, std::string& station) {
  const std::size_t length = second ? 2 : 1;
  if (text.size() < length || !is_letter(text[0]) || (second && text[1] != '2')) {
    return false;
  }
  station = text.substr(0, length);
  text.remove_prefix(length);
  return true;
}

/// Takes what one place of a pattern stands for.
bool take(std::string_view& text, char place, bool second, Fields& fields) {
  int number = 0;
  switch (place) {
    case 'Y':
      if (!take_number(text, 4, number)) {
        return false;
      }
      fields.year = number;
      return true;
    case 'y':
      return take_number(text, 1, fields.year_digit);
    case 'M':
      return take_number(text, 2, fields.time.month);
    case 'D':
      return take_number(text, 2, fields.time.day);
    case 'H':
      return take_number(text, 2, fields.time.hour);
    case 'i':
      return take_number(text, 2, number);
    case 's':
      return take_station(text, second, fields.station);
    case '|':
      return text.empty() || !is_digit(text[0]);
    default:
      if (text.empty() || (place == '.' && text[0] != '.')) {
        return false;
      }
      text.remove_prefix(1);
      return true;
  }
}

/// Whether the text begins as the pattern says. second: with a "2" after the station's letter.
bool match(std::string_view text, std::string_view pattern, bool second, Fields& fields) {
  for (const char place : pattern) {
    if (!take(text, place, second, fields)) {
      return false;
    }
  }
  return true;
}

/// The newest year with the given last digit that is not after `newest`.
int infer_year(int digit, int newest) {
  return newest - ((newest - digit) % 10 + 10) % 10;
}

std::optional<PathDate> interpret(const Fields& fields, int newest_year) {
  CalendarTime time = fields.time;
  time.year = fields.year.value_or(infer_year(fields.year_digit, newest_year));
  const std::optional<std::int64_t> seconds = utc_seconds(time);
  if (!seconds) {
    return std::nullopt;
  }
  PathDate date;
  date.time = *seconds;
  date.day = *seconds - std::int64_t{time.hour} * seconds_per_hour;
  date.year = time.year;
  date.year_inferred = !fields.year;
  const auto station = station_numbers.find(fields.station);
  if (station != station_numbers.end()) {
    date.station = station->second.number;
  }
  return date;
}

}  // namespace

std::optional<PathDate> find_path_date(const std::string& path, int newest_year) {
  for (const std::string_view pattern : patterns) {
    // The pattern may start at any component, the last one first.
    std::size_t start = path.size();
    while (start > 0) {
      const std::size_t slash = start >= 2 ? path.rfind('/', start - 2) : std::string::npos;
      start = slash == std::string::npos ? 0 : slash + 1;
      for (const bool second : {false, true}) {
        Fields fields;
        if (match(std::string_view(path).substr(start), pattern, second, fields)) {
          if (const auto date = interpret(fields, newest_year)) {
            return date;
          }
        }
      }
    }
  }
  return std::nullopt;
}

void warn_of_inferred_year(const std::optional<PathDate>& date) {
  if (date && date->year_inferred) {
    write_message(
        fmt::format("Warning: year parsed from filename, {}, is uncertain\n", date->year));
  }
}

int modification_year(const std::string& path) {
  FileStatus status{};
  std::tm calendar{};
  if (stat(path.c_str(), &status) != 0 || gmtime_r(&status.st_mtime, &calendar) == nullptr) {
    return 1970;
  }
  return calendar.tm_year + 1900;
}

}  // namespace KorLa
