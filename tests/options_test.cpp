// Every option, every check and every message of the command line.

#include "src/options.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <gmock/gmock.h>
#include <gsl/narrow>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

#include "src/usage.h"

namespace {

using tavrik::Direction;
using tavrik::MarkerType;
using tavrik::Settings;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

using Change = std::function<void(Settings&)>;

constexpr int returned = -1;

const Change nothing = [](Settings&) {};
const Change only_quiet = [](Settings& s) { s.quiet = true; };

std::vector<std::string> split(const std::string& text, char separator) {
  std::istringstream stream(text);
  std::vector<std::string> parts;
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts.empty() ? std::vector<std::string>{""} : parts;
}

/// The words of a command line; "''" stands for an empty one.
std::vector<std::string> words(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> result = {"tavrik"};
  for (std::string word; stream >> word;) {
    result.push_back(word == "''" ? "" : word);
  }
  return result;
}

/// Command lines, with '|' between them, that are to do the same.
struct Row {
  std::string lines;
  Change change;              ///< from the defaults to the settings that are expected
  std::string messages = {};  ///< ahead of the version line
  std::string level = "0";    ///< of the filter, as it is shown
};

/// Command lines, with '|' between them, and what is expected of them.
struct Case {
  std::string lines, expected;
};

template <typename Member, typename Value>
Change set(Member Settings::*member, Value value) {
  return [=](Settings& s) { s.*member = static_cast<Member>(value); };
}

std::string no_length(const std::string& value) {
  return "Warning: Length out of range: 8 <= " + value + " <= 512.\nUsing default length (128)\n";
}

std::string no_step(const std::string& value) {
  return "Warning: Stepsize out of range: 1 <= " + value +
         " <= 512.\nUsing default stepsize (128)\n";
}

std::string no_type(const std::string& value) {
  return "Warning: Type out of range: 0 <= " + value + " < 3.\nUsing default type (0)\n";
}

std::string no_mode(const std::string& value) {
  return "Error: Unknown graphics mode \"" + value + "\"\\n";
}

std::string unhandled(int code) {
  return "?? getopt returned character code " + std::to_string(code) + " ??\n";
}

class options : public FreshState {
 protected:
  struct Outcome {
    int status;
    std::string messages;
    std::vector<std::string> files = {};
  };

  static Outcome parse(const std::string& line) {
    std::vector<std::string> strings = words(line);
    std::vector<char*> arguments;
    std::transform(strings.begin(), strings.end(), std::back_inserter(arguments),
                   [](std::string& string) { return string.data(); });
    arguments.push_back(nullptr);
    optind = 0;
    support::CapturedStderr captured;
    int first_file = 0;
    const int status = exit_status([&] { first_file = tavrik::parse_command_line(arguments); });
    Outcome outcome{status, captured.take()};
    if (status == returned) {
      outcome.files.assign(arguments.begin() + first_file, arguments.end() - 1);
    }
    return outcome;
  }

  /// Parses good command lines and compares all of the settings and all of the messages.
  template <typename Table>
  static void expect_settings(const Table& table) {
    for (const Row& row : table) {
      Settings expected;
      row.change(expected);
      for (const std::string& line : split(row.lines, '|')) {
        SCOPED_TRACE(line);
        tavrik::settings = {};
        const Outcome outcome = parse(line);
        EXPECT_EQ(outcome.status, returned);
        EXPECT_EQ(outcome.messages, row.messages + (expected.quiet ? "" : usual_end(row.level)));
        EXPECT_TRUE(tavrik::settings == expected);
      }
    }
  }

  /// The lines behind the last option.
  static std::string usual_end(const std::string& level = "0") {
    return tavrik::version_line() + "\nCrsfilter:" + level + "\n";
  }
};

TEST_F(options, set_what_they_name_and_nothing_else) {
  using S = Settings;
  constexpr Direction old = Direction::old_method;
  constexpr Direction weighted = Direction::weighted_method;
  const auto vortex = [](double level) {
    return [=](S& s) { s.vortex = true, s.vortex_level = level; };
  };
  const auto lags = [](int n) { return [=](S& s) { s.maxdelay_auto = false, s.maxdelay = n; }; };
  const auto angles = [](Direction primary, Direction secondary) {
    return [=](S& s) { s.primary_direction = primary, s.secondary_direction = secondary; };
  };
  const Row table[] = {
      {"|-b|-B|-o|-O|-w elsewhere|-Wher|-bBoO", nothing},
      {"--no-lsq-plot|--no_lsq_plot|--postime|--no-lltmp|--no-crn|--compact=1", nothing},
      {"--join|--no-save-and-exit|--print_ut|--angle=new|--angle=n", nothing},
      {"-c|-C", set(&S::write_az, true)},
      {"-g0|-G0|-g0x9|--memory -g0", set(&S::graphics_mode, 0)},
      {"-g7|-g+7|-g7zoom", set(&S::graphics_mode, 7)},
      {"-g|-G|-g4|-g2 -g|--memory -g|-g 2", nothing},
      {"-g --memory|--memory", set(&S::memory, true)},
      {"-h|-H|-h0|-h 0.5", set(&S::histogram, true)},
      {"--lsq_len=9|--lsq-len 9|--lsq_l 9|--lsq-l=9|--lsq_len=9x", set(&S::lsq_len, 9)},
      {"--lsq-len=2", set(&S::lsq_len, 2)},
      {"--lsq-len=128", set(&S::lsq_len, 128)},
      {"--hist-size=4|--hist_size 4|--hist 4", set(&S::hist_size, 4)},
      {"--hist-size=360|--hist_size=360", set(&S::hist_size, 360)},
      {"--lsq_plot|--lsq-plot|--lsq_p", set(&S::lsq_plot, true)},
      {"--lsq-plot --no-lsq-plot|--lsq_plot --no_lsq_plot|--lsq-p --no-ls", nothing},
      {"--center-time|--ce", set(&S::center_time, true)},
      {"--no-join|--dont-concat|--no-j", set(&S::join, false)},
      {"--no-join --join|--dont-concat --join|--save-and-exit --no-save-and-exit", nothing},
      {"--vortex|--vortex 0.5", set(&S::vortex, true)},
      {"--vortex=1", vortex(1)},
      {"--vortex=25e1m", vortex(250)},
      {"--maxdelay=16|--maxdelay 16|--max=16", lags(16)},
      {"--maxdelay=2", lags(2)},
      {"--maxdelay=255|--maxdelay=999 --maxdelay=255", lags(255)},
      {"--save-and-exit", set(&S::save_and_exit, 264)},
      {"--stdout", set(&S::to_stdout, true)},
      {"--acr", [](S& s) { s.acr = s.write_az = true; }},
      {"--partial|--angle=old --partial|--partial --angle=old", set(&S::partial, true)},
      {"--angle=old|--angle=o|--angle old", set(&S::primary_direction, old)},
      {"--angle=weighted|--angle=w", angles(weighted, weighted)},
      {"--angle=w --angle=old", angles(old, weighted)},
      {"--angle=w --angle=old --angle=new", nothing},
      {"--lltmp", set(&S::lltmp, true)},
      {"--crn", set(&S::crn, true)},
      {"--lltmp --no-lltmp|--crn --no-crn|--negtime --postime", nothing},
      {"--strip-path", set(&S::strip_path, 268)},
      {"--title=-c|--title -c", set(&S::title, "-c")},
      {"--external=up|--external up", set(&S::external, "up")},
      {"--dont-handle-nans", set(&S::nan_handler, tavrik::keep_nan)},
      {"--negtime", set(&S::negtime, true)},
      {"--logcaz", set(&S::logcaz, true)},
      {"--plotcaz", set(&S::plotcaz, true)},
      {"--kodebug", set(&S::kodebug, true)},
      {"--compact=3|--compact 3|--compact=3x", set(&S::compact, 3)},
      {"--no-normalize", set(&S::normalize, false)},
  };
  expect_settings(table);
  for (const char* line : {"--print_ut", "--print-ut", "--ut", "--print", "--web", "--web-d"}) {
    SCOPED_TRACE(line);
    tavrik::settings.print_ut = false;
    parse(line);
    EXPECT_TRUE(tavrik::settings.print_ut);
  }
}

TEST_F(options, read_a_time_range) {
  const auto range = [](double t0, double t1, bool forced = false) {
    return [=](Settings& s) {
      s.range_t0 = t0, s.range_t1 = t1;
      s.range_set = true, s.range_forced = forced;
    };
  };
  const Row table[] = {
      {"--range=100-200|--range 100-200|--range=100:200|--range=1e2-2e2z", range(100, 200)},
      {"--range=-1.5--2.5", range(-1.5, -2.5)},
      {"--force=1-2|--force 1,2|--range=3-4 --force=1-2|--force=1-2 --force=3", range(1, 2, true)},
      {"--force=1-2 --range=3-4", range(3, 4, true)},
      {"--range=1-2 --range=3|--range=1-2 --range=3-x|--range=1-2 --force=x", range(1, 2)},
      {"--range=100|--range=100-|--range=a-b|--range=|--force=9|--range=1e-5", nothing},
      {"--range=nan-5|--range=5-nan|--force=nan-nan", nothing},
  };
  expect_settings(table);
}

TEST_F(options, for_the_web_come_in_one_word) {
  const auto defaults = [](Settings& s) {
    s.cstep = 64;
    s.center_time = s.quiet = true;
    s.type = MarkerType::maxcrs;
    s.strip_path = 1;
  };
  const auto all = [defaults](Settings& s) {
    defaults(s);
    s.memory = s.webb = s.to_stdout = true;
    s.save_and_exit = 264;
  };
  const auto in_a_window = [all](Settings& s) { all(s), s.memory = false, s.cstep = 32; };
  const Row table[] = {
      {"--webb-defaults|--web-defaults|--strip-path --webb-d", defaults},
      {"--webb|--web|--webb --no-save-and-exit", all},
      {"--webb -s32 -g", in_a_window},
      {"-t2 --web", all, "Type is 2 (maxamp)\n"},
  };
  expect_settings(table);
}

// Quiet is looked at where an option is read.
TEST_F(options, say_what_they_did) {
  using S = Settings;
  const auto filter = [](double level) {
    return [=](S& s) { s.histogram = true, s.crsfilter = level; };
  };
  const auto entropy = [](int n) { return [=](S& s) { s.entropy = true, s.clength = n; }; };
  const Change maxcrs = set(&S::type, MarkerType::maxcrs);
  const Change maxamp = set(&S::type, MarkerType::maxamp);
  const std::string no_level = "Warning: filter level out of range 0-1: 0\n";
  const std::string too_short = "Warning: --entropy needs -l512\n";
  const Row table[] = {
      {"-l 8", set(&S::clength, 8), "Length is 8\n"},
      {"-L512", set(&S::clength, 512), "Length is 512\n"},
      {"-l 64x", set(&S::clength, 64), "Length is 64\n"},
      {"-l 7", nothing, no_length("7")},
      {"-l 64 -l 513", nothing, "Length is 64\n" + no_length("513")},
      {"-l -1", nothing, no_length("18446744073709551615")},
      {"-s 1", set(&S::cstep, 1), "Stepsize is 1\n"},
      {"-S512", set(&S::cstep, 512), "Stepsize is 512\n"},
      {"-s 0", nothing, no_step("0")},
      {"-s 64 -s 513", nothing, "Stepsize is 64\n" + no_step("513")},
      {"-s -3", nothing, no_step("-3")},
      {"-t 0", nothing, "Type is 0 (normal)\n"},
      {"-t 12|-t maxcrs", maxcrs, "Type is 1 (maxcrs)\n"},
      {"-T2|-t maxamp", maxamp, "Type is 2 (maxamp)\n"},
      {"-t2 -t normal", nothing, "Type is 2 (maxamp)\nType is 0 (normal)\n"},
      {"-t 2 -t 3", nothing, "Type is 2 (maxamp)\n" + no_type("3")},
      {"-t 79", nothing, no_type("7")},
      {"-t foo", maxcrs, "Warning: Illegal type: foo\n"},
      {"-t -1", maxcrs, "Warning: Illegal type: -1\n"},
      {"-t ''", maxcrs, "Warning: Illegal type: \n"},
      {"-t Normal", maxcrs, "Warning: Illegal type: Normal\n"},
      {"-g2 -g9", nothing, no_mode("9")},
      {"--memory -g-1", nothing, no_mode("-1")},
      {"-G08x", nothing, no_mode("08x")},
      {"-h0.25", filter(0.25), "", "0.25"},
      {"-h.5 -H", filter(0.5), "", "0.5"},
      {"-H1", filter(1), "", "1"},
      {"-h0.5 -h2|-h1.0001|-h-0.1|-hnan|-h0.5 -hinf", filter(0), no_level},
      {"--entropy", entropy(512), too_short},
      {"-l 512 --entropy", entropy(512), "Length is 512\n"},
      {"-l 256 --entropy", entropy(512), "Length is 256\n" + too_short},
      {"--entropy -l 256", entropy(256), too_short + "Length is 256\n"},
      {"--fcmax 3|--fcmax -c|--fcmax=c", nothing, unhandled(400)},
      {"--fcmin 3|--fcmin -c", nothing, unhandled(401)},
      {"--where", nothing, unhandled(405)},
      {"--quiet|--quiet -l 128 -s 128 -t0", only_quiet},
      {"-l 128 --quiet -s 128", only_quiet, "Length is 128\n"},
      {"--quiet -l 600", only_quiet, no_length("600")},
      {"--quiet -s 600", only_quiet, no_step("600")},
      {"--quiet -t 7", only_quiet, no_type("7")},
      {"--quiet -g9", only_quiet, no_mode("9")},
      {"--quiet --where", only_quiet, unhandled(405)},
  };
  expect_settings(table);
}

TEST_F(options, end_the_program_on_a_bad_value) {
  const std::string version = tavrik::version_line() + "\n";
  const auto bins = [&](const std::string& value) {
    return version + "--hist-size=" + value + " out of range 4 <= " + value + " <= 360\n";
  };
  const auto lags = [](const std::string& value) {
    return "Error: maxdelay out of range 2 < " + value + " < 255\n";
  };
  const auto points = [](const std::string& value, const std::string& window) {
    return usual_end() + "lsq_len out of range (2 <= " + value + " <= " + window + "(clength))\n";
  };
  const auto no_number = [](const std::string& value) {
    return "Unable to convert \"" + value + "\" to a number\\n";
  };
  const std::string vortex = "Vortex level can't be zero or negative\n";
  const Case table[] = {
      {"--hist-size=3|--hist_size=3 --maxdelay=1|--lsq_len=1 --hist-size=3", bins("3")},
      {"--hist-size=361", bins("361")},
      {"--hist-size=-4", bins("-4")},
      {"--maxdelay=1|--lsq_len=1 --maxdelay=1", version + lags("1")},
      {"--maxdelay=256", version + lags("256")},
      {"--maxdelay=-2147483648", version + lags("-2147483648")},
      {"--quiet --maxdelay=0", lags("0")},
      {"--lsq_len=1", points("1", "128")},
      {"--lsq-len=129", points("129", "128")},
      {"--lsq-len=9 -l 8", "Length is 8\n" + points("9", "8")},
      {"--vortex=0.5|--vortex=0|--vortex=-1|--vortex=nan|--vortex=.999 -q", vortex},
      {"--compact=0|--compact=-2147483648", "Compact value can't be zero or negative\n"},
      {"--angle=olde", "Unknown calctype olde\nExiting\n"},
      {"--angle=", "Unknown calctype \nExiting\n"},
      {"--quiet --angle=N", "Unknown calctype N\nExiting\n"},
      {"--lsq_len=abc|--hist-size=abc|--maxdelay=abc|-gabc|-habc", no_number("abc")},
      {"--lsq_len=|--maxdelay ''|--hist_size=", no_number("")},
      {"--hist-size=-x1", no_number("-x1")},
      {"--lsq_len=2147483648|--hist-size=-2147483649|-g4294967296|--maxdelay=99999999999999999999",
       "get_long: Numerical result out of range\n"},
      {"-h1e999", "get_double: Numerical result out of range\n"},
  };
  for (const Case& row : table) {
    for (const std::string& line : split(row.lines, '|')) {
      SCOPED_TRACE(line);
      tavrik::settings = {};
      const Outcome outcome = parse(line);
      EXPECT_EQ(outcome.status, 1);
      EXPECT_EQ(outcome.messages, row.expected);
    }
  }
}

// An error number that an earlier call has left behind is nothing to these conversions.
TEST_F(options, take_numbers_whatever_failed_before) {
  for (const char* line : {"--lsq_len=9", "--maxdelay=9", "-g2", "-h0.5"}) {
    SCOPED_TRACE(line);
    errno = ERANGE;
    EXPECT_EQ(parse(line).status, returned);
  }
}

TEST_F(options, let_conversion_errors_escape) {
  const Case table[] = {
      {"-l abc|-l ''", "invalid: stoul"},
      {"-l 18446744073709551616", "range: stoul"},
      {"-s x|--compact=x", "invalid: stoi"},
      {"-s 2147483648|--compact=2147483648", "range: stoi"},
      {"--vortex=x|--vortex=", "invalid: stod"},
      {"--vortex=1e999", "range: stod"},
      {"--lsq-len=-1", "narrowing"},
  };
  for (const Case& row : table) {
    for (const std::string& line : split(row.lines, '|')) {
      SCOPED_TRACE(line);
      std::string caught = "none";
      try {
        parse(line);
      } catch (const std::invalid_argument& error) {
        caught = std::string("invalid: ") + error.what();
      } catch (const std::out_of_range& error) {
        caught = std::string("range: ") + error.what();
      } catch (const gsl::narrowing_error&) {
        caught = "narrowing";
      }
      EXPECT_EQ(caught, row.expected);
    }
  }
}

TEST_F(options, show_the_usage_when_they_are_not_known) {
  const Case table[] = {
      {"-?|--help|--he|-l 8 -?", ""},
      {"-q|-1|--nonsense|--lsq|--debu|--no-l|--webb-def=1", "tavrik: "},
      {"-l|-x|--title|--angle|--quiet=1|--compact|--fcmin", "tavrik: "},
  };
  for (const Case& row : table) {
    for (const std::string& line : split(row.lines, '|')) {
      SCOPED_TRACE(line);
      const Outcome outcome = parse(line);
      EXPECT_EQ(outcome.status, 0);
      EXPECT_THAT(outcome.messages, StartsWith(row.expected));
      EXPECT_THAT(outcome.messages, HasSubstr("Usage: tavrik file.ext [-options]"));
      EXPECT_THAT(outcome.messages, testing::Not(HasSubstr("Crsfilter")));
    }
  }
}

TEST_F(options, leave_file_names_in_order) {
  using Files = std::vector<std::string>;
  EXPECT_EQ(parse("").files, Files());
  EXPECT_EQ(parse("a -c b -s 64 c").files, (Files{"a", "b", "c"}));
  EXPECT_EQ(parse("-h 0.5 -g 2 --vortex 3").files, (Files{"0.5", "2", "3"}));
  EXPECT_EQ(parse("a -- -c b").files, (Files{"a", "-c", "b"}));
  EXPECT_EQ(parse("'' -").files, (Files{"", "-"}));
}

class coordinate_option : public options {
 protected:
  static constexpr const char* echo = "\n1 2 3\n0 0\n-75 0\n0 -75\n";

  support::TemporaryFolder folder;
  const std::string good = folder.write("good", "any\n1 2 3\n0 0\n-75 0\n0 -75\n");
  const std::string missing = folder / "missing";
  const std::string found = "Coord-file: " + good + "\n";
  const std::string defaults = std::string("No coord.dat-file, using defaults\nVQS-FILE") + echo;
};

TEST_F(coordinate_option, reads_its_file_at_once_and_at_the_end) {
  constexpr Direction old = Direction::old_method;
  constexpr Direction weighted = Direction::weighted_method;
  const auto with = [](const std::string& path, bool quiet,
                       Direction primary = Direction::new_method,
                       Direction secondary = Direction::new_method) {
    return [=](Settings& s) {
      s.coord_file = path;
      s.coord_loaded = true;
      s.quiet = quiet;
      s.primary_direction = primary;
      s.secondary_direction = secondary;
    };
  };
  const std::string at = "-x " + good;
  const std::string off = "-x " + missing;
  const std::string twice = found + echo + found + echo;
  const std::string missed = defaults + defaults;
  const Row table[] = {
      {at + "|-X" + good + "|--angle=old " + at + "|" + at + " --angle=old", with(good, false),
       twice},
      {off, with(missing, false), missed},
      {off + " " + at, with(good, false), defaults + twice},
      {"--quiet " + at, with(good, true), found + found},
      {"--quiet " + off, with(missing, true), ""},
      {at + " --quiet", with(good, true), found + echo + found},
      {at + " --angle=w --angle=old", with(good, false, weighted, weighted), twice},
      {"--angle=old " + off, with(missing, false, old), missed},
      {off + " --angle=w --angle=o", with(missing, false, old, weighted), missed},
  };
  expect_settings(table);
}

TEST_F(coordinate_option, ends_the_program_on_bad_channels) {
  const std::string path = folder.write("bad", "\n1 1 3\n0 0\n1 1\n2 2\n");
  const Outcome outcome = parse("--quiet -x " + path + " --angle=none");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.messages, "Coord-file: " + path + "\nch1=1 and ch2=1 must be different\n");
}

TEST_F(options, check_the_channels) {
  tavrik::settings.ch1 = tavrik::settings.ch2 = 3;
  tavrik::settings.ch3 = -1;
  const Outcome outcome = parse("--comment --lsq_len=1");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.messages, usual_end() +
                                  "ch1=4 out of range (1-3)\nch2=4 out of range (1-3)\n"
                                  "ch3=0 out of range (1-3)\nch1=4 and ch2=4 must be different\n");
}

TEST_F(coordinate_option, stands_in_the_comment_line) {
  const std::string expected =
      " tavrik: -t 2 -l 256 -s 32 -c --chl=1 --ch2=2 --ch3=3 --lsq-len 12 --hist-len 90 -x " +
      missing;
  parse("--comment -t2 -l256 -s32 --lsq-len=12 --hist-size=90 -x" + missing);
  EXPECT_EQ(tavrik::settings.comment_text, expected);
}

TEST_F(options, trace_the_checks_in_order) {
  const std::pair<std::string, int> table[] = {
      {"--debug", 1}, {"--debug2", 2}, {"--debug3", 3}, {"-d", 1}, {"-D", 1}};
  for (const auto& [line, level] : table) {
    SCOPED_TRACE(line);
    tavrik::settings = {};
    const Outcome outcome = parse(line + " --comment --lsq_len=0");
    EXPECT_EQ(tavrik::settings.debug, level);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(
        outcome.messages,
        MatchesRegex("src/options:[0-9]+:: debug: ch1 0 ch2 1 ch3 2\n"
                     "tavrik Version [^\n]+\n"
                     "src/options:[0-9]+:: debug: cstep=128 clength=128\n"
                     "Crsfilter:0\n"
                     "src/options:[0-9]+:: debug:  tavrik: -t 0 -l 128 -s 128 -c --chl=1 --ch2=2 "
                     "--ch3=3 --lsq-len 0 --hist-len 180 -x \n"
                     "lsq_len out of range [^\n]+\n"));
  }
}

}  // namespace
