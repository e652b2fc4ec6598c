// What the file library makes of station files, comment lines and paths, compared with the accepted
// texts in tests/accepted: a case begins at the start of a line, and what was made of it stands
// below, indented by two blanks.
//
// A new case is a file in tests/station_files, or a line in accepted/comment_lines.txt or
// paths.txt. After that, and after a wanted change, run with TAVRIK_UPDATE_ACCEPTED=1 and look at
// the difference before you commit it. Files in the folder "traced" are read with the trace on; all
// count as changed in the first second of 2016.

#include "tests/support/station_files.h"

#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "korla/comment.h"
#include "korla/korla.h"
#include "korla/korla16.h"
#include "korla/korla_base.h"
#include "korla/messages.h"
#include "korla/path_date.h"
#include "korla/stations.h"
#include "tests/support/accepted.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/split.h"
#include "tests/support/temporary_folder.h"

namespace {

using KorLa::Korla_Base;

/// Compares with an accepted text whose own lines are the cases.
void expect_accepted_lines(const std::string& name, std::string (*describe)(const std::string&)) {
  std::string actual;
  for (const std::string& line : support::split(support::read_accepted(name), '\n')) {
    actual += line.starts_with("  ") ? "" : line + "\n  " + describe(line);
  }
  support::expect_accepted(name, actual);
}

/// What was written to the error stream, line by line and with all its bytes visible.
std::string quote(const std::string& said) {
  constexpr std::size_t most = 160;
  std::istringstream lines(said);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text += fmt::format("  {:?}", line.substr(0, most));
    text += line.size() > most ? fmt::format(" and {} bytes more", line.size() - most) : "";
    text += lines.eof() ? " without a line end\n" : "\n";
  }
  return text;
}

// ---- Station files

std::string describe_header(const KorLa::SeriesHeader& h) {
  return fmt::format(
      "  version {}, station {}, size {}, start {} s {} ns, code {}, {} channels, reserved {}, "
      "{} Hz, {} bits, {} bytes, extension {}\n",
      +h.version, +h.station, +h.header_size, +h.start_sec, +h.start_nsec, +h.sample_code,
      +h.n_channels, +h.reserved, +h.sampling_frequency, +h.bits_per_sample, +h.bytes_per_sample,
      fmt::join(h.extra_time, " "));
}

/// The first channels and the last one.
std::string describe_channels(const Korla_Base& series) {
  std::string text;
  for (std::size_t c = 0; c < series.channels.size(); ++c) {
    if (c >= 4 && c + 1 < series.channels.size()) {
      continue;
    }
    const KorLa::ChannelDescriptor& channel = series.channels[c];
    const std::vector<std::int32_t>& samples = series.samples.at(c);
    text += fmt::format("  channel {}, flags {}, {} to {} * {}: {} samples", +channel.index,
                        +channel.flags, +channel.range_low, +channel.range_high, +channel.scale,
                        samples.size());
    if (!samples.empty()) {
      text +=
          fmt::format(", {} to {} ({}), {:x}", samples.front(), samples.back(),
                      series.scaled_value(samples.back(), channel), support::fingerprint(samples));
    }
    text += "\n";
  }
  return text;
}

/// The first and the last time, and the samples that do not follow by the frequency.
std::string describe_times(const Korla_Base& series) {
  if (series.times.empty()) {
    return "";
  }
  std::string text = fmt::format("  {} times, {:.6f} to {:.6f}", series.times.size(),
                                 series.times.front(), series.times.back());
  for (std::size_t i = 1; i < series.times.size(); ++i) {
    const double late =
        series.times[i] - series.times[i - 1] - 1 / series.header.sampling_frequency;
    text += std::fabs(late) > 2e-6 ? fmt::format(", {:.6f} s late at {}", late, i) : "";
  }
  return text + "\n";
}

/// The reader's name; for a 16-bit file also the type that it reports.
std::string describe_format(const std::string& path, const Korla_Base& series) {
  constexpr std::array<const char*, 4> names = {"none", "ko24", "16-bit ", "TM4"};
  std::string text = names.at(static_cast<std::size_t>(series.format_id()));
  if (series.format_id() == 2) {
    support::CapturedStderr captured;
    KorLa::open_station_file(path, 0, false);
    const std::string said = captured.take();
    const std::size_t type = said.find("File: " + path + " Type: ") + path.size() + 13;
    text += said.substr(type, said.find('\n', type) - type);
  }
  return text + "\n";
}

/// What it changes to read a file without nudge and with negtime.
std::string describe_switched(const std::string& path, const Korla_Base& series) {
  const support::CapturedStderr captured;
  KorLa::negtime = true;
  const auto switched = KorLa::open_series(path, 0, false);
  KorLa::negtime = false;
  const double later = series.times.empty() ? 0 : switched->times[0] - series.times[0];
  return std::fabs(later) > 1e-6
             ? fmt::format("  {:.6f} s later without nudge and with negtime\n", later)
             : "";
}

std::string describe_series(const std::string& path, const Korla_Base& series) {
  return describe_format(path, series) + describe_header(series.header) +
         describe_channels(series) + describe_times(series) + describe_switched(path, series);
}

class station_files : public FreshState {
 protected:
  /// What becomes of a file, and what is said of it.
  static std::string describe_file(const std::string& path) {
    std::unique_ptr<Korla_Base> series;
    std::string text = "null\n";
    support::CapturedStderr captured;
    try {
      series = KorLa::open_series(path, 0, true);
    } catch (const ProcessEnded& end) {
      text = fmt::format("the process ends with status {}\n", end.status);
    } catch (const std::exception& error) {
      const std::string what = error.what();  // the standard library's own details left out
      text = fmt::format("throws {:?}\n", what.substr(0, what.find(": __n")));
    }
    const std::string said = quote(std::regex_replace(captured.take(), std::regex(path), "PATH"));
    KorLa::debug = false;
    text = (series ? describe_series(path, *series) : text) + said;
    text = std::regex_replace(text, std::regex(path), "PATH");
    text = std::regex_replace(text, std::regex("-nan"), "nan");  // the processor's choice
    return std::regex_replace(text, std::regex("(Debug:[./a-z0-9_]*)\\([0-9]+\\)"), "$1");
  }
};

TEST_F(station_files, give_what_is_accepted) {
  const support::TemporaryFolder folder;
  std::filesystem::copy(TAVRIK_STATION_FILES, folder.path(),
                        std::filesystem::copy_options::recursive);
  constexpr std::chrono::sys_seconds new_year =
      std::chrono::sys_days{std::chrono::January / 1 / 2016};
  setenv("TZ", "UTC", 1);
  tzset();
  std::set<std::string> actual;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path())) {
    if (entry.is_regular_file()) {
      const std::string path = entry.path().string();
      const std::string name = path.substr((folder / "").size());
      const auto change = std::chrono::file_clock::from_sys(new_year);
      std::filesystem::last_write_time(path, change);
      KorLa::debug = name.starts_with("traced/");
      actual.insert(name + ": " + describe_file(path));
    }
  }
  support::expect_accepted("station_files.txt", fmt::format("{}", fmt::join(actual, "")));
}

// ---- Comment lines, paths and stations

std::string describe_comment(const std::string& line) {
  KorLa::Comment c;
  c.frequency = 99;
  c.block_length = 7;
  support::CapturedStderr captured;
  const bool valid = validate_comment(line, c);
  return fmt::format(
      "{}: {} Hz, gain {}, blocks of {}, letter {}, station <{}>, date <{}>, time <{}>, {} of day "
      "{}\n{}",
      valid ? "valid" : "none", c.frequency, c.gain, c.block_length,
      std::string(1, c.type_letter) + (c.u_flag ? " (U)" : ""), c.station_name, c.date_text,
      c.time_text, c.record_time ? std::to_string(*c.record_time) : "no time",
      c.day_time ? std::to_string(*c.day_time) : "none", quote(captured.take()));
}

TEST(comment_lines, give_what_is_accepted) {
  expect_accepted_lines("comment_lines.txt", describe_comment);
}

std::string describe_path(const std::string& path) {
  const auto date = KorLa::find_path_date(path, 2016);
  if (!date) {
    return "no date\n";
  }
  const std::string inferred =
      date->year_inferred
          ? fmt::format(", in 2000: {}", KorLa::find_path_date(path, 2000).value().year)
          : "";
  return fmt::format("{:%F %T} in {}, station {}, day {:%F %T}{}\n", fmt::gmtime(date->time),
                     date->year, date->station ? std::to_string(*date->station) : "none",
                     fmt::gmtime(date->day), inferred);
}

TEST(paths, give_what_is_accepted) {
  expect_accepted_lines("paths.txt", describe_path);
}

TEST(stations, are_these_and_no_others) {
  std::string text = "station_names:\n";
  for (const auto& [number, name] : KorLa::station_names) {
    text += fmt::format("  {} {}\n", number, name);
  }
  text += "station_numbers:\n";
  for (const auto& [name, station] : KorLa::station_numbers) {
    text += fmt::format("  {} {}\n", name, station.number);
  }
  support::expect_accepted("stations.txt", text);
}

}  // namespace
