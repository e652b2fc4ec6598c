// Start-up, and the analysis of the files joined or one by one.

#include "src/driver.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <fmt/chrono.h>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "korla/command_log.h"
#include "korla/korla16.h"
#include "korla/messages.h"

#include "src/analysis.h"
#include "src/caption.h"
#include "src/console.h"
#include "src/display_state.h"
#include "src/options.h"
#include "src/plot_surface.h"
#include "src/progress.h"
#include "src/response_files.h"
#include "src/result_stream.h"
#include "src/run_checks.h"
#include "src/run_files.h"
#include "src/settings.h"
#include "src/usage.h"
#include "src/viewer.h"
#include "src/viewer_wait.h"

namespace tavrik {

namespace {

using FileList = std::vector<std::string>;

/// Every run appends a line to it.
constexpr const char* log_path = "logfile";

void fix_locale() {
  print("LC_ALL={}\n", std::setlocale(LC_ALL, "C"));
  print("LC_NUMERIC={}\n", std::setlocale(LC_NUMERIC, "C"));
}

/// Reads the trace level ahead of the options, so that their reading can be traced.
void scan_debug_options(std::span<char* const> arguments) {
  constexpr const char* names[] = {"--debug", "--debug2", "--debug3"};
  for (const std::string_view argument : arguments) {
    const auto* name = std::find(std::begin(names), std::end(names), argument);
    if (name != std::end(names)) {
      settings.debug = static_cast<int>(name - std::begin(names)) + 1;
    }
  }
}

void fix_time_zone() {
  setenv("TZ", "UTC", 1);
  tzset();
}

/// What an argument, as an option, may name as a coordinate file: the text after an equals sign, or
/// after the first "x" of short options.
std::string option_value(const std::string& argument) {
  const std::size_t place = argument.find_first_of(argument.starts_with("--") ? "=" : "xX");
  return place == std::string::npos ? "" : argument.substr(place + 1);
}

/// All files that the run may read, as far as its arguments tell before they are parsed: there may
/// be more among them, and some that are not there.
FileList possible_inputs(const ExpandedArguments& command_line) {
  FileList files = command_line.files;
  for (const std::string& argument : command_line.arguments) {
    files.push_back(argument);
    files.push_back(result_path(argument, "coords"));
    files.push_back((boost::filesystem::path(argument).parent_path() / "coord.dat").string());
    if (argument.starts_with('-')) {
      files.push_back(option_value(argument));
    }
  }
  return files;
}

/// Strings as the option parser takes them: changeable, with a null after the last.
std::vector<char*> pointers(std::vector<std::string>& arguments) {
  std::vector<char*> result;
  result.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    result.push_back(argument.data());
  }
  result.push_back(nullptr);
  return result;
}

/// Raises the formatting library's own error for a time that no calendar record can hold.
void require_calendar_time(double time) {
  constexpr double most = 9e18;
  fmt::gmtime(static_cast<std::time_t>(std::clamp(time, -most, most)));
}

/// Both times come out empty, as they would from an empty format: intended.
void announce_range() {
  check_range();
  if (settings.range_set && !settings.quiet) {
    require_calendar_time(settings.range_t0);
    require_calendar_time(settings.range_t1);
    info("limiting to  - \n");
  }
}

/// The files of the command line. An empty name, as an empty line of a response file gives, is
/// none.
FileList file_list(std::span<char* const> arguments) {
  FileList files(arguments.begin(), arguments.end());
  const auto n_empty = std::erase(files, "");
  if (n_empty > 0) {
    warn("WARNING: {} empty file name{} skipped\n", n_empty, n_empty == 1 ? "" : "s");
  }
  return files;
}

/// An unexpanded pattern: the shell found no file for it.
bool is_pattern(const std::string& name) {
  return name.find_first_of("*?") != std::string::npos;
}

/// Analyses all files as one series and shows it under the first file's name.
void run_joined(const FileList& files) {
  ResultSeries results;
  show_title(files.front());
  if (analyse(files, results) && settings.graphics_mode != 0) {
    std::size_t cursor = 0;
    display(results, {files.front()}, cursor);
  }
}

/// Analyses and shows one file after the other; the display may go back, and ends the run.
void run_per_file(const FileList& files) {
  ResultSeries results;
  std::size_t cursor = 0;
  while (cursor < files.size()) {
    if (is_pattern(files[cursor])) {
      ++cursor;
      continue;
    }
    results.records.clear();
    show_title(files[cursor]);
    if (!analyse({files[cursor]}, results)) {
      break;
    }
    if (settings.graphics_mode == 0) {
      ++cursor;
    } else if (display(results, files, cursor)) {
      break;
    }
  }
}

/// Opens the window before the first file is analysed, so that a long analysis can be watched and
/// ended.
void open_window(const std::string& file) {
  show_title(file);
  show_empty_window();
  progress_listener = show_progress;
  end_is_wanted = end_was_asked;
}

bool has_files(const FileList& files) {
  if (settings.join) {
    return !files.empty() && !is_pattern(files.front());
  }
  return !std::all_of(files.begin(), files.end(), is_pattern);
}

void run_files(const FileList& files) {
  if (!has_files(files)) {
    print("No files\n");
    return;
  }
  for (const std::string& file : files) {
    protect_input(file);
  }
  protect_input(log_path);
  protect_stream(STDOUT_FILENO);
  protect_stream(STDERR_FILENO);
  graphics_init(settings.graphics_mode);
  if (settings.graphics_mode != 0) {
    open_window(*std::find_if_not(files.begin(), files.end(), is_pattern));
  }
  display_state.center_time = settings.center_time;
  if (settings.join) {
    run_joined(files);
  } else {
    run_per_file(files);
  }
  graphics_end(settings.graphics_mode);
}

}  // namespace

int run(int argc, char** argv) {
  fix_locale();
  errno = 0;
  scan_debug_options({argv, static_cast<std::size_t>(argc)});
  ExpandedArguments command_line = expand_response_files(argc, argv);
  std::vector<char*> arguments = pointers(command_line.arguments);
  const auto count = static_cast<int>(command_line.arguments.size());
  KorLa::log_command_line(log_path, count, arguments.data(), possible_inputs(command_line));
  for (const std::string& file : command_line.files) {
    protect_input(file);
  }
  fix_time_zone();
  if (count <= 1) {
    usage(count == 1 ? arguments[0] : "tavrik");
  }
  const int first_file = parse_command_line(arguments);
  KorLa::debug = settings.kodebug;
  KorLa::negtime = settings.negtime;
  announce_range();
  run_files(file_list({arguments.begin() + first_file, arguments.end() - 1}));
  return result_state.output_lost ? 1 : 0;
}

}  // namespace tavrik
