// Reading of comment lines.

#include "korla/comment.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "korla/calendar.h"
#include "korla/file_warnings.h"
#include "korla/messages.h"

namespace KorLa {

namespace {

constexpr const char* trace_module = "../../../src/korla";

constexpr char padding = 127;

void trace_attempt(const char* name, const std::string& line) {
  KORLA_TRACE("{}: \"{}\"\n", name, line);
}

void trace_match(const char* name, const std::string& line) {
  KORLA_TRACE("{}: {}\n", name, line);
}

/// Scans a line of one of the two old forms, which have nothing but a frequency and a gain.
bool scan_old_form(const char* name, const char* format, const std::string& line,
                   Comment& comment) {
  trace_attempt(name, line);
  double frequency = 0;
  int gain = 0;
  // A number that does not fit is as good as any other wrong one.
  if (std::sscanf(line.c_str(), format, &frequency, &gain) != 2) {
    return false;
  }
  comment.frequency = frequency;
  comment.gain = gain;
  comment.block_length = 128;
  KORLA_TRACE("frequency={} gain={}\n", frequency, gain);
  trace_match(name, line);
  return true;
}

/// Works out record_time and day_time from the texts. What does not read stays unset.
void convert_date(Comment& comment) {
  const char* zone = std::getenv("TZ");
  KORLA_TRACE("TZ={}\n", zone != nullptr ? zone : "not set");
  CalendarTime time;
  if (std::sscanf(comment.date_text.c_str(), "%04d%*c%02d%*c%02d", &time.year, &time.month,
                  &time.day) != 3) {
    return;
  }
  // The recorder writes UTC. No time zone enters, whatever TZ says.
  comment.day_time = utc_seconds(time);
  comment.normalised = !on_calendar(time);
  if (std::sscanf(comment.time_text.c_str(), "%02d%*c%02d%*c%02d", &time.hour, &time.minute,
                  &time.second) == 3) {
    comment.record_time = utc_seconds(time);
    comment.normalised = !on_calendar(time);
  }
  KORLA_TRACE("{} Start of day represents {}\n", comment.record_time.value_or(*comment.day_time),
              *comment.day_time);
}

bool validate(const char* name, std::string line, Comment& comment) {
  std::erase(line, padding);
  if (valid_comment_type1(line, comment) || valid_comment_type2(line, comment)) {
    return true;
  }
  if (valid_comment_type3(line, comment)) {
    convert_date(comment);
    return true;
  }
  comment.frequency = 18.0;
  write_message(fmt::format("{}: Invalid comment line\n", name));
  return false;
}

}  // namespace

bool valid_comment_type1(const std::string& line, Comment& comment) {
  return scan_old_form("valid_comment_type1", "!Tidserier %lf %d", line, comment);
}

bool valid_comment_type2(const std::string& line, Comment& comment) {
  return scan_old_form("valid_comment_type2", "!Tidserier  sampfrek: %lf gain: %d", line, comment);
}

bool valid_comment_type3(const std::string& line, Comment& comment) {
  constexpr const char* name = "valid_comment_type3";
  trace_attempt(name, line);
  Comment read;
  int length = 0;
  int consumed = 0;
  std::array<char, 256> station{}, date{}, time{};
  const int fields =
      std::sscanf(line.c_str(),
                  "!%c%dTidserier sampfrek: %lf%n gain: %d%n station: %255[^ ]%n date: %255[^ ]%n"
                  " time: %255[^ ]%n",
                  &read.type_letter, &length, &read.frequency, &consumed, &read.gain, &consumed,
                  station.data(), &consumed, date.data(), &consumed, time.data(), &consumed);
  KORLA_TRACE("ret: {}\n", fields);
  KORLA_TRACE("Unscanned comment: {}\n",
              std::string_view(line).substr(static_cast<std::size_t>(consumed)));
  if (fields < 3) {
    return false;
  }
  read.block_length = static_cast<std::uint32_t>(length);
  read.station_name = station.data();
  read.date_text = date.data();
  read.time_text = time.data();
  if (length != 512 && length != 128) {
    write_message(fmt::format("WARNING: nonstandard length: {}\n", read.block_length));
  }
  read.u_flag = read.type_letter == 'U';
  if (read.type_letter != 'S' && !read.u_flag) {
    return false;
  }
  comment = read;
  KORLA_TRACE("frequency={} gain={} date={} time={}\n", comment.frequency, comment.gain,
              comment.date_text, comment.time_text);
  trace_match(name, line);
  return true;
}

bool validate_comment(const std::string& line, Comment& comment) {
  if (validate("validate_comment", line, comment)) {
    return true;
  }
  write_message("Couldn't determine sampling frequency\ndefaulting to 18.0Hz\n");
  return false;
}

bool parse_comment(const std::string& line, Comment& comment) {
  return validate("parse_comment", line, comment);
}

void warn_of_date(const std::string& path, const Comment& comment) {
  const FileWarnings warnings(path);
  if (!comment.day_time) {
    if (!comment.date_text.empty()) {
      warnings.say(fmt::format("the comment's date {} can't be read", comment.date_text));
    }
    return;
  }
  if (!comment.time_text.empty() && !comment.record_time) {
    warnings.say(fmt::format("the comment's time {} can't be read", comment.time_text));
  }
  const std::int64_t start = comment.record_time.value_or(*comment.day_time);
  if (comment.normalised) {
    warnings.say(fmt::format("no calendar shows the comment's date {}{}{}, taken as {}",
                             comment.date_text, comment.time_text.empty() ? "" : " ",
                             comment.time_text, calendar_text(start)));
  }
  if (start < 0) {
    warnings.say(fmt::format("the comment's date {} is before 1970, times count from 1970",
                             comment.date_text));
  }
}

}  // namespace KorLa
