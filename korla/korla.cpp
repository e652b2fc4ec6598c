// What text and binary 16-bit files share: their opening, and the times of their blocks.

#include "korla/korla.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "korla/calendar.h"
#include "korla/file_warnings.h"
#include "korla/korla_binary.h"
#include "korla/korla_text.h"
#include "korla/messages.h"

namespace KorLa {

namespace {

constexpr const char* trace_module = "../../../src/korla";

constexpr std::size_t head_size = 256;

/// The first bytes of a file and a zero, so that they can be scanned as a string.
using Head = std::array<char, head_size + 1>;

Head read_head(const std::string& path, std::FILE* file) {
  Head head{};
  const std::size_t count = std::fread(head.data(), 1, head_size, file);
  require_read(file, path);
  if (std::feof(file) != 0) {
    warn_of_unusable_start(path, {head.data(), count}, true);
    throw std::runtime_error("fread: EOF \n");
  }
  if (count != head_size) {
    throw std::runtime_error(fmt::format("file to short to be meaningfull\n{}", count));
  }
  return head;
}

/// Reads the comment line, and the path where the comment has no date.
StationFile describe(const std::string& path, double name_time, const Head& head) {
  const std::size_t line_end = std::string_view(head.data(), head_size).find_first_of("\r\n");
  if (line_end == std::string_view::npos) {
    warn_of_unusable_start(path, {head.data(), head_size}, false);
    throw std::runtime_error("Found no end of first commentline\n");
  }
  StationFile result;
  result.path = path;
  result.data_offset = line_end + 1;
  result.valid_comment = validate_comment(std::string(head.data(), line_end), result.comment);
  KORLA_TRACE("Valid comment: {}\n", result.valid_comment ? 1 : 0);
  warn_of_date(path, result.comment);
  result.day = result.comment.day_time;
  if (!result.day) {
    result.path_date = find_path_date(path, modification_year(path));
  }
  if (result.path_date) {
    result.day = result.path_date->day;
  } else if (!result.day && name_time != 0 && std::fabs(name_time) < 1e15) {
    const auto seconds = static_cast<std::int64_t>(std::floor(name_time));
    result.day = seconds - time_of_day(seconds);
  }
  return result;
}

/// Text data begins with two time columns and a sample: three numbers.
bool is_text(const StationFile& station_file, const Head& head) {
  const char* data = head.data() + station_file.data_offset;
  float ignored[3];
  return station_file.valid_comment && *data != '\0' &&
         std::sscanf(data, "%f %f %f", &ignored[0], &ignored[1], &ignored[2]) == 3;
}

/// All times of the library are UTC, also those that the C library takes for local.
void set_time_zone(bool quiet) {
  if (std::strcmp(tzname[0], "UTC") == 0) {
    return;
  }
  if (!quiet) {
    write_message("Info: setting TZ=UTC\n");
  }
  setenv("TZ", "UTC", 1);
  tzset();
}

}  // namespace

KORLA::KORLA(StationFile station_file, File file, bool quiet)
    : block_length_(station_file.comment.block_length),
      station_file_(std::move(station_file)),
      file_(std::move(file)),
      quiet_(quiet),
      clock_(station_file_.day.value_or(0)),
      warnings_(station_file_.path) {
  set_time_zone(quiet);
}

void KORLA::report_type(bool binary) {
  binary_ = binary;
  if (!quiet_) {
    write_message(compose("File: {} Type: {}\n", station_file_.path, binary_ ? "binary" : "text"));
  }
  warn_of_path_date(station_file_.path, station_file_.path_date);
}

void KORLA::set_time(BlockGroup& group, const std::array<Stamp, 3>& stamps) {
  group.stamps_differ = !agree(stamps);
  group.time = clock_.time(stamps[0], !group.stamps_differ);
}

std::unique_ptr<KORLA> open_station_file(const std::string& path, double name_time, bool quiet) {
  File file = open_for_reading(path.c_str());
  if (!file) {
    throw std::runtime_error(compose("Can't open {}\n", path));
  }
  const Head head = read_head(path, file.get());
  StationFile station_file = describe(path, name_time, head);
  const bool text = is_text(station_file, head);
  std::unique_ptr<KORLA> reader;
  if (text) {
    reader = std::make_unique<AsciiKORLA>(std::move(station_file), std::move(file), quiet);
  } else {
    reader = std::make_unique<BinaryKORLA>(std::move(station_file), std::move(file), quiet);
  }
  reader->report_type(!text);
  return reader;
}

}  // namespace KorLa
