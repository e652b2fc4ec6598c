// The option table, and the settings' checks.

#include "src/options.h"

#include <algorithm>
#include <array>
#include <boost/filesystem/path.hpp>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <gsl/narrow>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

#include "src/console.h"
#include "src/geometry.h"
#include "src/settings.h"
#include "src/usage.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/options";

/// What an option does; value: its argument, null without one.
using Apply = void (*)(const char* value);

// -- options with a rule of their own ------------------------------------------------------------

void set_graphics_mode(const char* value) {
  settings.graphics_mode = 4;
  settings.memory = false;
  if (value == nullptr) {
    return;
  }
  const int mode = get_long(value);
  if (mode >= 0 && mode <= 7) {
    settings.graphics_mode = mode;
  } else {
    // Ends in a backslash and the letter n, not in a line break. Intended.
    warn("Error: Unknown graphics mode \"{}\"\\n", value);
  }
}

void set_histogram(const char* value) {
  settings.histogram = true;
  if (value == nullptr) {
    return;
  }
  const double level = get_double(value);
  if (level >= 0 && level <= 1) {
    settings.crsfilter = level;
  } else {
    settings.crsfilter = 0;
    warn("Warning: filter level out of range 0-1: {}\n", 0);  // not the value given: intended
  }
}

void set_length(const char* value) {
  constexpr std::uint64_t least = 8, most = 512, usual = 128;
  settings.clength = std::stoul(value);
  if (settings.clength >= least && settings.clength <= most) {
    info("Length is {}\n", settings.clength);
  } else {
    warn("Warning: Length out of range: {} <= {} <= {}.\nUsing default length ({})\n", least,
         settings.clength, most, usual);
    settings.clength = usual;
  }
}

void set_step(const char* value) {
  constexpr int least = 1, most = 512, usual = 128;
  settings.cstep = std::stoi(value);
  if (settings.cstep >= least && settings.cstep <= most) {
    info("Stepsize is {}\n", settings.cstep);
  } else {
    warn("Warning: Stepsize out of range: {} <= {} <= {}.\nUsing default stepsize ({})\n", least,
         settings.cstep, most, usual);
    settings.cstep = usual;
  }
}

/// Reads one digit, or a name. An unknown name counts as "maxcrs": intended.
void set_type(const char* value) {
  constexpr std::array names = {"normal", "maxcrs", "maxamp"};
  constexpr auto count = static_cast<int>(names.size());
  int type = 0;
  if (std::sscanf(value, "%1d", &type) == 1) {
    if (type >= count) {
      warn("Warning: Type out of range: {} <= {} < {}.\nUsing default type ({})\n", 0, type, count,
           0);
      settings.type = MarkerType::normal;
      return;
    }
  } else {
    const auto name = std::find(names.begin(), names.end(), std::string_view(value));
    if (name == names.end()) {
      warn("Warning: Illegal type: {}\n", value);
      settings.type = MarkerType::maxcrs;
      return;
    }
    type = static_cast<int>(name - names.begin());
  }
  settings.type = static_cast<MarkerType>(type);
  info("Type is {} ({})\n", type, names[static_cast<std::size_t>(type)]);
}

void set_coordinate_file(const char* value) {
  settings.coord_file = value;
  settings.coord_loaded = true;
  if (read_coordinates(settings.coord_file)) {
    warn("WARNING: {}: can't open this coordinate file, using the default triangle\n", value);
  }
}

void set_entropy(const char*) {
  constexpr std::uint64_t needed = 512;
  if (settings.clength != needed) {
    warn("Warning: --entropy needs -l512\n");
    settings.clength = needed;
  }
  settings.entropy = true;
}

void set_vortex(const char* value) {
  if (value != nullptr) {
    settings.vortex_level = std::stod(value);
  }
  if (!(settings.vortex_level >= 1.0)) {
    fail("Vortex level can't be zero or negative\n");
  }
  settings.vortex = true;
}

/// Any --maxdelay switches the derivation off. Checked, with the others, after the last option.
void set_lags(const char* value) {
  settings.maxdelay = static_cast<std::uint64_t>(get_long(value));
  settings.maxdelay_auto = false;
}

/// "old" is in force only until coordinates are read; the others are for good.
void set_angle(const char* value) {
  const std::string_view word(value);
  if (word == "old" || word == "o") {
    settings.primary_direction = Direction::old_method;
  } else if (word == "new" || word == "n") {
    settings.primary_direction = settings.secondary_direction = Direction::new_method;
  } else if (word == "weighted" || word == "w") {
    settings.primary_direction = settings.secondary_direction = Direction::weighted_method;
  } else if (word == "lsq" || word == "l") {
    settings.primary_direction = settings.secondary_direction = Direction::lsq_method;
  } else {
    fail("Unknown calctype {}\nExiting\n", value);
  }
}

/// Reads "t0-t1". What does not read changes nothing, without a word: intended.
bool set_range(const char* value) {
  double t0 = 0;
  double t1 = 0;
  if (std::sscanf(value, "%lf%*c%lf", &t0, &t1) != 2 || std::isnan(t0) || std::isnan(t1)) {
    return false;
  }
  settings.range_t0 = t0;
  settings.range_t1 = t1;
  settings.range_set = true;
  return true;
}

void set_compact(const char* value) {
  settings.compact = std::stoi(value);
  if (settings.compact < 1) {
    fail("Compact value can't be zero or negative\n");
  }
}

void set_webb_defaults(const char*) {
  settings.cstep = 64;
  settings.print_ut = true;
  settings.center_time = true;
  settings.type = MarkerType::maxcrs;
  settings.quiet = true;
  settings.strip_path = 1;
}

void set_webb(const char* value) {
  settings.memory = true;
  settings.webb = true;
  settings.to_stdout = true;
  set_webb_defaults(value);
}

/// "where" reads as -w here.
void show_location(const char* value, const char* program) {
  if (std::strcmp(value, "here") != 0) {
    return;
  }
  const boost::filesystem::path path(program);
  const std::string line =
      compose("{} is located in {}\n", path.filename().string(), path.parent_path().string());
  if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size() || std::fflush(stdout) != 0) {
    fail("Can't write to standard output\n");
  }
}

// -- the tables ----------------------------------------------------------------------------------

struct ShortOption {
  char letter;  ///< in lower case; upper case does the same
  Apply apply;
};

constexpr const char* short_letters =
    "BCDG::H::L:OS:T:W:X:bcdg::h::l:os:t:w:x:";  // not "-?": refused means help too

constexpr ShortOption short_options[] = {
    {'b', [](const char*) {}},
    {'c', [](const char*) { settings.write_az = true; }},
    {'d', [](const char*) { settings.debug = 1; }},
    {'g', set_graphics_mode},
    {'h', set_histogram},
    {'l', set_length},
    {'o', [](const char*) {}},
    {'s', set_step},
    {'t', set_type},
    {'x', set_coordinate_file},
};

struct LongOption {
  std::array<const char*, 3> names;  ///< spellings; unused ones are null
  int argument;
  Apply apply;
};

constexpr LongOption long_options[] = {
    {{"debug"}, no_argument, [](const char*) { settings.debug = 1; }},
    {{"debug2"}, no_argument, [](const char*) { settings.debug = 2; }},
    {{"debug3"}, no_argument, [](const char*) { settings.debug = 3; }},
    {{"quiet"}, no_argument, [](const char*) { settings.quiet = true; }},
    {{"lsq_len", "lsq-len"},
     required_argument,
     [](const char* v) { settings.lsq_len = static_cast<std::uint64_t>(get_long(v)); }},
    {{"hist-size", "hist_size"},
     required_argument,
     [](const char* v) { settings.hist_size = get_long(v); }},
    {{"no_lsq_plot", "no-lsq-plot"}, no_argument, [](const char*) { settings.lsq_plot = false; }},
    {{"lsq_plot", "lsq-plot"}, no_argument, [](const char*) { settings.lsq_plot = true; }},
    {{"print_ut", "print-ut", "ut"}, no_argument, [](const char*) { settings.print_ut = true; }},
    {{"center-time"}, no_argument, [](const char*) { settings.center_time = true; }},
    {{"dont-concat", "no-join"}, no_argument, [](const char*) { settings.join = false; }},
    {{"join"}, no_argument, [](const char*) { settings.join = true; }},
    {{"entropy"}, no_argument, set_entropy},
    {{"vortex"}, optional_argument, set_vortex},
    {{"comment"}, no_argument, [](const char*) { settings.comment = true; }},
    {{"maxdelay"}, required_argument, set_lags},
    {{"save-and-exit"},
     no_argument,
     [](const char*) { settings.save_and_exit = save_and_exit_key; }},
    {{"no-save-and-exit"}, no_argument, [](const char*) { settings.save_and_exit = 0; }},
    {{"memory"}, no_argument, [](const char*) { settings.memory = true; }},
    {{"stdout"}, no_argument, [](const char*) { settings.to_stdout = true; }},
    {{"acr"}, no_argument, [](const char*) { settings.acr = settings.write_az = true; }},
    {{"partial"}, no_argument, [](const char*) { settings.partial = true; }},
    {{"lltmp"}, no_argument, [](const char*) { settings.lltmp = true; }},
    {{"no-lltmp"}, no_argument, [](const char*) { settings.lltmp = false; }},
    {{"crn"}, no_argument, [](const char*) { settings.crn = true; }},
    {{"no-crn"}, no_argument, [](const char*) { settings.crn = false; }},
    {{"csv"}, no_argument, [](const char*) { settings.csv = true; }},
    {{"strip-path"}, no_argument, [](const char*) { settings.strip_path = 268; }},
    {{"title"}, required_argument, [](const char* v) { settings.title = v; }},
    {{"dont-handle-nans"}, no_argument, [](const char*) { settings.nan_handler = keep_nan; }},
    {{"angle"}, required_argument, set_angle},
    {{"external"}, required_argument, [](const char* v) { settings.external = v; }},
    {{"negtime"}, no_argument, [](const char*) { settings.negtime = true; }},
    {{"postime"}, no_argument, [](const char*) { settings.negtime = false; }},
    {{"logcaz"}, no_argument, [](const char*) { settings.logcaz = true; }},
    {{"plotcaz"}, no_argument, [](const char*) { settings.plotcaz = true; }},
    {{"webb", "web"}, no_argument, set_webb},
    {{"webb-defaults", "web-defaults"}, no_argument, set_webb_defaults},
    {{"kodebug"}, no_argument, [](const char*) { settings.kodebug = true; }},
    {{"range"}, required_argument, [](const char* v) { set_range(v); }},
    {{"force"},
     required_argument,
     [](const char* v) { settings.range_forced = set_range(v) || settings.range_forced; }},
    {{"compact"}, required_argument, set_compact},
    {{"no-normalize"}, no_argument, [](const char*) { settings.normalize = false; }},
};

/// Options that are accepted and only report their code.
constexpr option inert_options[] = {
    {"fcmax", required_argument, nullptr, 256},
    {"fcmin", required_argument, nullptr, 257},
    {"where", no_argument, nullptr, 261},
};

/// The code of the table's first row; all spellings of a row share one code, so that the parser
/// does not take an abbreviation of them for ambiguous.
constexpr int first_row = 512;

std::vector<option> parser_table() {
  std::vector<option> table(std::begin(inert_options), std::end(inert_options));
  table.push_back({"help", no_argument, nullptr, '?'});
  int code = first_row;
  for (const LongOption& row : long_options) {
    for (const char* name : row.names) {
      if (name != nullptr) {
        table.push_back({name, row.argument, nullptr, code});
      }
    }
    ++code;
  }
  table.push_back({nullptr, 0, nullptr, 0});
  return table;
}

/// The action of a code that the parser gives back; null if nobody handles it.
Apply find_action(int code) {
  if (code >= first_row) {
    return std::span(long_options)[static_cast<std::size_t>(code - first_row)].apply;
  }
  for (const ShortOption& row : short_options) {
    if (code < 256 && std::tolower(code) == row.letter) {
      return row.apply;
    }
  }
  return nullptr;
}

/// Does what an option asks for. The errors of the standard conversions, which nothing catches,
/// name neither the option nor its value: a line before them does.
void apply_option(Apply apply, const std::string& name, const char* value) {
  try {
    apply(value);
  } catch (const std::logic_error&) {
    warn("Error: can't use \"{}\" for {}\n", value, name);
    throw;
  }
}

/// Has the parser read the options once more, now as a message may show them, up to the one that it
/// refuses: its own message could name this one with control characters.
void name_refused_option(const std::vector<char*>& arguments, const std::vector<option>& table) {
  std::vector<std::string> shown(arguments.size() - 1);
  std::vector<char*> pointers(arguments.size());
  for (std::size_t i = 0; i < shown.size(); ++i) {
    shown[i] = KorLa::printable(arguments[i]);
    pointers[i] = shown[i].data();
  }
  opterr = 1;
  optind = 0;
  const auto count = static_cast<int>(shown.size());
  for (int code = 0; code != '?' && code != -1;) {
    code = getopt_long(count, pointers.data(), short_letters, table.data(), nullptr);
  }
}

void read_options(std::vector<char*>& arguments) {
  const std::vector<option> table = parser_table();
  const char* program = arguments[0];
  const auto count = static_cast<int>(arguments.size() - 1);
  int code = 0;
  int row = 0;  // of a long option
  opterr = 0;
  while ((code = getopt_long(count, arguments.data(), short_letters, table.data(), &row)) != -1) {
    if (code == '?') {
      if (optopt != '?') {
        name_refused_option(arguments, table);
      }
      usage(program);
    }
    if (code == 'w' || code == 'W') {
      show_location(optarg, program);
    } else if (const Apply apply = find_action(code)) {
      const std::string name = code >= first_row
                                   ? fmt::format("--{}", table[static_cast<std::size_t>(row)].name)
                                   : fmt::format("-{}", static_cast<char>(code));
      apply_option(apply, name, optarg);
    } else {
      warn("?? getopt returned character code {:o} ??\n", code);
    }
  }
}

// -- after the last option -----------------------------------------------------------------------

std::array<int, 3> channels() {
  return {settings.ch1, settings.ch2, settings.ch3};
}

void check_histogram_and_lags() {
  if (settings.hist_size < 4 || settings.hist_size > 360) {
    fail("--hist-size={0} out of range 4 <= {0} <= 360\n", settings.hist_size);
  }
  if (settings.maxdelay < 2 || settings.maxdelay > 255) {
    fail("Error: maxdelay out of range 2 < {} < {}\n", static_cast<std::int64_t>(settings.maxdelay),
         255);  // signed: as it was typed
  }
}

void check_line_fit() {
  const int lsq_len = gsl::narrow<int>(settings.lsq_len);
  const int clength = gsl::narrow<int>(settings.clength);
  if (lsq_len < 2 || lsq_len > clength) {
    fail("lsq_len out of range (2 <= {} <= {}(clength))\n", lsq_len, clength);
  }
}

/// The run's options in one line; " --chl=" has a letter l, and " -c" is always there: intended.
std::string compose_comment() {
  const auto [ch1, ch2, ch3] = channels();
  return fmt::format(
      " tavrik: -t {} -l {} -s {} -c --chl={} --ch2={} --ch3={} --lsq-len {} --hist-len {} -x {}",
      static_cast<int>(settings.type), settings.clength, settings.cstep, ch1 + 1, ch2 + 1, ch3 + 1,
      settings.lsq_len, settings.hist_size, settings.coord_file);
}

/// The rules that tie options together, and their checks, in the order of their messages.
void finish_settings() {
  settings.write_az = settings.write_az || settings.acr;
  if (settings.webb) {
    settings.save_and_exit = save_and_exit_key;
  }
  if (!settings.coord_file.empty()) {
    settings.coord_loaded = true;
    read_coordinates(settings.coord_file);
  }
  TAVRIK_TRACE(1, "ch1 {} ch2 {} ch3 {}", settings.ch1, settings.ch2, settings.ch3);
  settings.plot_routine = PlotKind::result;
  info("{}\n", version_line());
  if (settings.partial) {
    settings.primary_direction = settings.secondary_direction;
  }
  check_histogram_and_lags();
  TAVRIK_TRACE(1, "cstep={} clength={}\n", settings.cstep, settings.clength);
  info("Crsfilter:{}\n", settings.crsfilter);
  check_channels(channels());
  if (settings.comment) {
    settings.comment_text = compose_comment();
    TAVRIK_TRACE(1, "{}", settings.comment_text);
  }
  check_line_fit();
}

}  // namespace

int parse_command_line(std::vector<char*>& arguments) {
  read_options(arguments);
  finish_settings();
  return optind;
}

}  // namespace tavrik
