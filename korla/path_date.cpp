// Matching of paths against the patterns of station files.

#include "korla/path_date.h"

#include <array>
#include <ctime>
#include <string_view>

#include "korla/bytes.h"
#include "korla/calendar.h"
#include "korla/file_warnings.h"
#include "korla/messages.h"
#include "korla/stations.h"

namespace KorLa {

namespace {

/// The patterns in the order in which they are tried. Y: year of four digits; y: its last digit;
/// M, D, H: month, day, hour of two digits each; s: the station's letter; /: any one character;
/// . : a point; |: no further digit. What comes twice is the same twice, or the last one holds.
constexpr std::array<std::string_view, 5> patterns = {
    "YMD/syMDH.", "Y/M/YMD/syMDH.", "sYMDH.", "syMDH.", "syMDH|",
};

struct Fields {
  std::optional<int> year;
  std::optional<int> month;
  std::optional<int> day;
  int year_digit = 0;
  int hour = 0;
  std::string station;  ///< short form
  bool contradictory = false;
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

/// Takes a field that may have come before.
bool take_again(std::string_view& text, std::size_t width, std::optional<int>& field,
                bool& contradictory) {
  int number = 0;
  if (!take_number(text, width, number)) {
    return false;
  }
  contradictory = contradictory || (field && *field != number);
  field = number;
  return true;
}

/// Takes the year's last digit, which goes with the year if there is one.
bool take_year_digit(std::string_view& text, Fields& fields) {
  if (!take_number(text, 1, fields.year_digit)) {
    return false;
  }
  fields.contradictory =
      fields.contradictory || (fields.year && *fields.year % 10 != fields.year_digit);
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
  switch (place) {
    case 'Y':
      return take_again(text, 4, fields.year, fields.contradictory);
    case 'y':
      return take_year_digit(text, fields);
    case 'M':
      return take_again(text, 2, fields.month, fields.contradictory);
    case 'D':
      return take_again(text, 2, fields.day, fields.contradictory);
    case 'H':
      return take_number(text, 2, fields.hour);
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

/// Whether the path before a date ends in the folders of a year and its month, and these are
/// others. The second pattern has them too, but the first one fits such a path as well and comes
/// before.
bool folders_differ(std::string_view before, const CalendarTime& time) {
  constexpr std::size_t length = 8;
  Fields folders;
  return before.size() >= length &&
         match(before.substr(before.size() - length), "Y/M/", false, folders) &&
         (folders.year != time.year || folders.month != time.month);
}

/// The newest year with the given last digit that is not after `newest`.
int infer_year(int digit, int newest) {
  return newest - ((newest - digit) % 10 + 10) % 10;
}

/// before: the path up to the date.
std::optional<PathDate> interpret(const Fields& fields, std::string_view before, int newest_year) {
  CalendarTime time;
  time.year = fields.year.value_or(infer_year(fields.year_digit, newest_year));
  time.month = fields.month.value_or(0);
  time.day = fields.day.value_or(0);
  time.hour = fields.hour;
  if (!on_calendar(time)) {
    return std::nullopt;
  }
  PathDate date;
  date.time = utc_seconds(time);
  date.day = date.time - std::int64_t{time.hour} * seconds_per_hour;
  date.year = time.year;
  date.year_inferred = !fields.year;
  date.contradictory = fields.contradictory || folders_differ(before, time);
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
          if (const auto date =
                  interpret(fields, std::string_view(path).substr(0, start), newest_year)) {
            return date;
          }
        }
      }
    }
  }
  return std::nullopt;
}

void warn_of_path_date(const std::string& path, const std::optional<PathDate>& date) {
  if (!date) {
    return;
  }
  const FileWarnings warnings(path);
  if (date->year_inferred) {
    write_message(
        fmt::format("Warning: year parsed from filename, {}, is uncertain\n", date->year));
  }
  if (date->contradictory) {
    warnings.say(fmt::format("parts of the path contradict each other, taken as {}",
                             calendar_text(date->time)));
  }
  if (date->time < 0) {
    warnings.say(fmt::format("the path's date {} is before 1970, times count from 1970",
                             calendar_text(date->time)));
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
