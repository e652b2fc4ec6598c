// Reading of comment lines.

#include "korla/comment.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "korla/calendar.h"
#include "korla/messages.h"

namespace KorLa {

namespace {

constexpr const char* trace_module = "../../../src/korla";

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

/// Works out record_time and day_time from the texts. What does not read, or no calendar has, stays
/// unset.
void convert_date(Comment& comment) {
  const char* zone = std::getenv("TZ");
  KORLA_TRACE("TZ={}\n", zone != nullptr ? zone : "not set");
  CalendarTime time;
  if (std::sscanf(comment.date_text.c_str(), "%04d%*c%02d%*c%02d", &time.year, &time.month,
                  &time.day) != 3) {
    return;
  }
  comment.day_time = utc_seconds(time);
  // The recorder writes UTC. No time zone enters, whatever TZ says.
  if (comment.day_time && std::sscanf(comment.time_text.c_str(), "%02d%*c%02d%*c%02d", &time.hour,
                                      &time.minute, &time.second) == 3) {
    comment.record_time = utc_seconds(time);
  }
  KORLA_TRACE("{} Start of day represents {}\n",
              comment.record_time.value_or(comment.day_time.value_or(0)),
              comment.day_time.value_or(0));
}

bool validate(const char* name, const std::string& line, Comment& comment) {
  if (valid_comment_type1(line, comment) || valid_comment_type2(line, comment)) {
    return true;
  }
  if (valid_comment_type3(line, comment)) {
    convert_date(comment);
    return true;
  }
  comment.frequency = 18.0;
  write_message(
      fmt::format("{}: Invalid comment line\n"
                  "Couldn't determine sampling frequency\n"
                  "defaulting to 18.0Hz\n",
                  name));
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
  return validate("validate_comment", line, comment);
}

bool parse_comment(const std::string& line, Comment& comment) {
  return validate("parse_comment", line, comment);
}

}  // namespace KorLa
