// Every option, every check and every message of the command line.

#include "src/options.h"

#include <cerrno>
#include <exception>
#include <functional>
#include <gmock/gmock.h>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

#include "src/usage.h"

namespace {

using enum tavrik::Direction;
using tavrik::Direction;
using tavrik::MarkerType;

using S = tavrik::Settings;
using Change = std::function<void(S&)>;
using Words = std::vector<std::string>;

const Change nothing = [](S&) {};

/// Sets one member after the other.
template <typename Member, typename Value, typename... Rest>
Change set(Member S::*member, Value value, Rest... rest) {
  return [=](S& s) {
    s.*member = static_cast<Member>(value);
    if constexpr (sizeof...(rest) > 0) {
      set(rest...)(s);
    }
  };
}

Words split(const std::string& text, char separator) {
  std::istringstream stream(text);
  Words parts;
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts;
}

/// Command lines, with '|' between them, that are to do the same.
struct Good {
  std::string lines;
  Change change;              ///< from the defaults to the settings that are expected
  std::string messages = {};  ///< ahead of the version line
  std::string level = "0";    ///< of the filter, as it is shown
};

constexpr int returned = -1;
constexpr int threw = -2;

struct Bad {
  std::string lines, start_of_messages;
  int status = 1;
};

class options : public FreshState {
 protected:
  struct Outcome {
    int status;
    std::string messages;  ///< or what was thrown
    Words files = {};
  };

  /// Parses a command line, with "''" for an empty word.
  static Outcome parse(const std::string& line, const S& before = {}) {
    Words words = {"tavrik"};
    for (const std::string& word : split(line, ' ')) {
      words.push_back(word == "''" ? "" : word);
    }
    std::vector<char*> arguments;
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    tavrik::settings = before;
    optind = 0;
    errno = ERANGE;  // what an earlier call has left behind
    support::CapturedStderr captured;
    auto first_file = static_cast<int>(words.size());
    try {
      const int status = exit_status([&] { first_file = tavrik::parse_command_line(arguments); });
      return {status, captured.take(), {arguments.begin() + first_file, arguments.end() - 1}};
    } catch (const std::exception& error) {
      return {threw, error.what()};
    }
  }

  template <typename Row, typename Check>
  static void for_each_line(const std::vector<Row>& table, const Check& check) {
    for (const Row& row : table) {
      for (const std::string& line : split(row.lines, '|')) {
        SCOPED_TRACE(line);
        check(parse(line), row);
      }
    }
  }

  static void expect_settings(const std::vector<Good>& table) {
    for_each_line(table, [](const Outcome& outcome, const Good& row) {
      S expected;
      row.change(expected);
      EXPECT_EQ(outcome.status, returned);
      EXPECT_EQ(outcome.messages, row.messages + (expected.quiet ? "" : usual_end(row.level)));
      EXPECT_TRUE(tavrik::settings == expected);
    });
  }

  /// The lines behind the last option.
  static std::string usual_end(const std::string& level = "0") {
    return tavrik::version_line() + "\nCrsfilter:" + level + "\n";
  }
};

TEST_F(options, set_and_say_what_they_name) {
  const auto angles = [](Direction primary, Direction secondary) {
    return set(&S::primary_direction, primary, &S::secondary_direction, secondary);
  };
  const auto range = [](double t0, double t1, bool forced = false) {
    return set(&S::range_set, true, &S::range_forced, forced, &S::range_t0, t0, &S::range_t1, t1);
  };
  const auto web_defaults = [](auto... more) {
    return set(&S::cstep, 64, &S::center_time, true, &S::quiet, true, &S::type, MarkerType::maxcrs,
               &S::strip_path, 1, more...);
  };
  const Change web =
      web_defaults(&S::memory, true, &S::webb, true, &S::to_stdout, true, &S::save_and_exit, 264);
  const Change quiet = set(&S::quiet, true);
  const Change maxcrs = set(&S::type, MarkerType::maxcrs);
  const auto no_length = [](const std::string& n) {
    return "Warning: Length out of range: 8 <= " + n + " <= 512.\nUsing default length (128)\n";
  };
  const auto no_step = [](const std::string& n) {
    return "Warning: Stepsize out of range: 1 <= " + n + " <= 512.\nUsing default stepsize (128)\n";
  };
  const std::string no_type = "Warning: Type out of range: 0 <= 3 < 3.\nUsing default type (0)\n";
  const std::string no_level = "Warning: filter level out of range 0-1: 0\n";
  const std::string too_short = "Warning: --entropy needs -l512\n";
  expect_settings({
      {"|-b|-B -o|-O|-w elsewhere|-Wher|-bBoO|--compact=1|-g 2", nothing},
      {"-c|-C", set(&S::write_az, true)},
      {"-h|-H|-h0|-h 0.5", set(&S::histogram, true)},
      {"--lsq_plot|--lsq-plot|--lsq_p", set(&S::lsq_plot, true)},
      {"--print_ut|--print-ut|--ut|--print|--postime|--join", nothing},
      {"--no-join|--dont-concat", set(&S::join, false)},
      {"--no-normalize", set(&S::normalize, false)},
      {"--vortex|--vortex 0.5", set(&S::vortex, true)},
      {"--partial|--angle=old --partial|--partial --angle=old", set(&S::partial, true)},
      {"--lltmp", set(&S::lltmp, true)},
      {"--crn", set(&S::crn, true)},
      {"--negtime", set(&S::negtime, true)},
      {"--center-time", set(&S::center_time, true)},
      {"--memory|-g --memory", set(&S::memory, true)},
      {"--stdout", set(&S::to_stdout, true)},
      {"--logcaz", set(&S::logcaz, true)},
      {"--plotcaz", set(&S::plotcaz, true)},
      {"--kodebug", set(&S::kodebug, true)},
      {"--lsq_p --no-lsq-plot|--lsq_p --no_lsq_plot|--memory -g|-g2 -g|--no-join --join", nothing},
      {"--lltmp --no-lltmp|--crn --no-crn|--negtime --postime|--save-and-exit --no-save", nothing},
      {"-g0|-G0|-g0x9", set(&S::graphics_mode, 0)},
      {"-g7|-g+7", set(&S::graphics_mode, 7)},
      {"--memory -g-1", nothing, "Error: Unknown graphics mode \"-1\"\\n"},
      {"-g2 -G08x", nothing, "Error: Unknown graphics mode \"08x\"\\n"},
      {"--lsq_len=2|--lsq-len 2|--lsq_l 2|--lsq-l=2", set(&S::lsq_len, 2)},
      {"--hist-size=4|--hist_size 4|--hist 4", set(&S::hist_size, 4)},
      {"--hist-size=360", set(&S::hist_size, 360)},
      {"--vortex=10e-1m", set(&S::vortex, true, &S::vortex_level, 1)},
      {"--maxdelay=2", set(&S::maxdelay, 2, &S::maxdelay_auto, false)},
      {"--maxdelay=999 --maxdelay 255", set(&S::maxdelay, 255, &S::maxdelay_auto, false)},
      {"--save-and-exit", set(&S::save_and_exit, 264)},
      {"--acr", set(&S::acr, true, &S::write_az, true)},
      {"--angle=old|--angle=o", set(&S::primary_direction, old_method)},
      {"--angle=weighted|--angle=w", angles(weighted_method, weighted_method)},
      {"--angle=w --angle=old", angles(old_method, weighted_method)},
      {"--angle=w --angle=new|--angle=w --angle=n", nothing},
      {"--strip-path", set(&S::strip_path, 268)},
      {"--title=-c|--title -c", set(&S::title, "-c")},
      {"--external=up", set(&S::external, "up")},
      {"--dont-handle-nans", set(&S::nan_handler, tavrik::keep_nan)},
      {"--compact=3x", set(&S::compact, 3)},
      {"--range=100-200|--range 100:200|--range=1e2-2e2z", range(100, 200)},
      {"--range=-1.5--2.5", range(-1.5, -2.5)},
      {"--force=1-2|--range=3-4 --force=1-2|--force=1-2 --force=3", range(1, 2, true)},
      {"--force=1-2 --range=3-4", range(3, 4, true)},
      {"--range=1-2 --range=3-x|--range=1-2 --force=x", range(1, 2)},
      {"--range=|--range=nan-5|--force=5-nan", nothing},
      {"--webb-defaults|--web-defaults|--strip-path --webb-d", web_defaults()},
      {"--webb|--web|--webb --no-save-and-exit", web},
      {"-t2 --web", web, "Type is 2 (maxamp)\n"},
      {"-l 7 -l 8x", set(&S::clength, 8), no_length("7") + "Length is 8\n"},
      {"-L512 -l 513", nothing, "Length is 512\n" + no_length("513")},
      {"-l -1", nothing, no_length("18446744073709551615")},
      {"-s 1 -s 0", nothing, "Stepsize is 1\n" + no_step("0")},
      {"-s 513 -S512", set(&S::cstep, 512), no_step("513") + "Stepsize is 512\n"},
      {"-t 12|-t maxcrs", maxcrs, "Type is 1 (maxcrs)\n"},
      {"-t maxamp -T0|-t2 -t normal", nothing, "Type is 2 (maxamp)\nType is 0 (normal)\n"},
      {"-t 1 -t 38", nothing, "Type is 1 (maxcrs)\n" + no_type},
      {"-t -1", maxcrs, "Warning: Illegal type: -1\n"},
      {"-h.5 -H", set(&S::histogram, true, &S::crsfilter, 0.5), "", "0.5"},
      {"-H1", set(&S::histogram, true, &S::crsfilter, 1), "", "1"},
      {"-h0.5 -h2|-h1.0001|-h-0.1|-hnan", set(&S::histogram, true), no_level},
      {"-l 512 --entropy", set(&S::entropy, true, &S::clength, 512), "Length is 512\n"},
      {"--entropy -l 256", set(&S::entropy, true, &S::clength, 256), too_short + "Length is 256\n"},
      {"--fcmax -c|--fcmax=c", nothing, "?? getopt returned character code 400 ??\n"},
      {"--fcmin -c", nothing, "?? getopt returned character code 401 ??\n"},
      // Quiet is looked at where an option is read.
      {"-l 128 --quiet -s 128 -t0", quiet, "Length is 128\n"},
      {"--quiet -l 7 -s 0 -t 3", quiet, no_length("7") + no_step("0") + no_type},
      {"--quiet --where", quiet, "?? getopt returned character code 405 ??\n"},
  });
}

TEST_F(options, end_the_program_on_a_bad_value) {
  const std::string version = tavrik::version_line() + "\n";
  const std::vector<Bad> table = {
      {"--maxdelay=1 --hist_size=3", version + "--hist-size=3 out of range 4 <= 3 <= 360\n"},
      {"--hist-size=361", version + "--hist-size=361 out of range 4 <= 361 <= 360\n"},
      {"--lsq_len=1 --maxdelay=1", version + "Error: maxdelay out of range 2 < 1 < 255\n"},
      {"--maxdelay=256", version + "Error: maxdelay out of range 2 < 256 < 255\n"},
      {"--quiet --maxdelay=-99", "Error: maxdelay out of range 2 < -99 < 255\n"},
      {"--lsq_len=1", usual_end() + "lsq_len out of range (2 <= 1 <= 128(clength))\n"},
      {"--lsq-len=129", usual_end() + "lsq_len out of range (2 <= 129 <= 128(clength))\n"},
      {"--vortex=0.999|--vortex=nan|--vortex=.5 -q", "Vortex level can't be zero or negative\n"},
      {"--compact=0", "Compact value can't be zero or negative\n"},
      {"--angle=olde", "Unknown calctype olde\nExiting\n"},
      {"--lsq_len=ab|--maxdelay=ab|-gab|-hab", "Unable to convert \"ab\" to a number\\n"},
      {"--lsq_len=2147483648|-g-2147483649", "get_long: Numerical result out of range\n"},
      {"-h1e999", "get_double: Numerical result out of range\n"},
      {"-l abc|-l ''|-l 18446744073709551616", "stoul", threw},
      {"-s x|--compact=x|-s 2147483648|--compact=2147483648", "stoi", threw},
      {"--vortex=x|--vortex=|--vortex=1e999", "stod", threw},
      {"--lsq-len=-1", "narrowing_error", threw},
      {"-?|--help|--he|--quiet -?", "Usage: tavrik file.ext [-options]", 0},
      {"-q|-1|--nonsense|--lsq|--debu|--no-l|--webb-def=1", "tavrik: ", 0},
      {"-l|-x|--title|--angle|--quiet=1|--compact|--fcmin", "tavrik: ", 0},
  };
  for_each_line(table, [](const Outcome& outcome, const Bad& row) {
    EXPECT_EQ(outcome.status, row.status);
    EXPECT_THAT(outcome.messages, testing::StartsWith(row.start_of_messages));
  });
}

TEST_F(options, leave_file_names_in_order) {
  EXPECT_EQ(parse("a -c b -s 64 c").files, (Words{"a", "b", "c"}));
  EXPECT_EQ(parse("-h 0.5 -g 2 --vortex 3").files, (Words{"0.5", "2", "3"}));
  EXPECT_EQ(parse("a -- '' -").files, (Words{"a", "", "-"}));
}

TEST_F(options, read_the_coordinate_file_at_once_and_at_the_end) {
  const std::string echo = "\n1 2 3\n0 0\n-75 0\n0 -75\n";
  const std::string defaults = "No coord.dat-file, using defaults\nVQS-FILE" + echo;
  const support::TemporaryFolder folder;
  const std::string path = folder.write("good", "any" + echo);
  const std::string found = "Coord-file: " + path + "\n";
  const std::string at = "-x " + path;
  const auto with = [&path](auto... more) {
    return set(&S::coord_file, path, &S::coord_loaded, true, more...);
  };
  const auto weighted = with(&S::primary_direction, weighted_method,  //
                             &S::secondary_direction, weighted_method);
  expect_settings({
      {at + "|--angle=old " + at, with(), found + echo + found + echo},
      {"-Xnone " + at, with(), defaults + found + echo + found + echo},
      {at + " --quiet", with(&S::quiet, true), found + echo + found},
      {at + " --angle=w --angle=o", weighted, found + echo + found + echo},
  });
}

TEST_F(options, check_the_channels) {
  S before;
  before.ch1 = 3;
  EXPECT_EQ(parse("--lsq_len=1", before).messages, usual_end() + "ch1=4 out of range (1-3)\n");
}

TEST_F(options, trace_the_checks_in_order) {
  const std::string trace = "src/options:[0-9]+:: debug: ";
  const std::string expected = trace + "ch1 0 ch2 1 ch3 2\n" + trace + "cstep=128 clength=128\n" +
                               trace + " tavrik: -t 0 [^\n]+\nlsq_len out [^\n]+\n";
  for (const std::string line : {"-d", "-D", "--debug", "--debug2", "--debug3"}) {
    const Outcome outcome = parse("--quiet --comment --lsq_len=0 " + line);
    EXPECT_EQ(tavrik::settings.debug, line == "--debug3" ? 3 : line == "--debug2" ? 2 : 1) << line;
    EXPECT_THAT(outcome.messages, testing::MatchesRegex(expected));
  }
  parse("--comment -t2 -l256 -s32 --lsq-len=12 --hist-size=90 -xnone");
  EXPECT_EQ(tavrik::settings.comment_text,
            " tavrik: -t 2 -l 256 -s 32 -c --chl=1 --ch2=2 --ch3=3 --lsq-len 12 --hist-len 90 "
            "-x none");
}

}  // namespace
