// Every option, every check and every message of the command line, by the accepted outcomes in
// accepted/options.txt, and the usage text in usage.txt. After a wanted change, or for a new line
// of arguments ("$ ARGUMENTS", with '|' between those that are to do the same, '' for an empty one
// and COORDINATES for a file): run with TAVRIK_UPDATE_ACCEPTED=1 and look at every difference
// before it is committed.

#include "src/options.h"

#include <cerrno>
#include <exception>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <regex>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/accepted.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/split.h"
#include "tests/support/temporary_folder.h"

#include "src/usage.h"

namespace {

using S = tavrik::Settings;
using support::split;
using Words = std::vector<std::string>;

/// The values of the named members that are not the defaults; puts all of them into `seen`.
template <typename Member, typename... Rest>
std::string describe(S& seen, const char* name, Member S::*member, Rest... rest) {
  std::string text;
  const Member& value = seen.*member = tavrik::settings.*member;
  if (value != S().*member) {
    if constexpr (std::is_enum_v<Member>) {
      text = fmt::format(" {}={}", name, static_cast<int>(value));
    } else {
      text = fmt::format(" {}={}", name, value);
    }
  }
  if constexpr (sizeof...(rest) > 0) {
    text += describe(seen, rest...);
  }
  return text;
}

std::string describe_settings() {
  S seen;
  std::string text = describe(
      seen, "debug", &S::debug, "quiet", &S::quiet, "graphics_mode", &S::graphics_mode, "memory",
      &S::memory, "to_stdout", &S::to_stdout, "save_and_exit", &S::save_and_exit, "webb", &S::webb,
      "cstep", &S::cstep, "clength", &S::clength, "type", &S::type, "histogram", &S::histogram,
      "crsfilter", &S::crsfilter, "write_az", &S::write_az, "acr", &S::acr, "entropy", &S::entropy,
      "vortex", &S::vortex, "vortex_level", &S::vortex_level, "lsq_len", &S::lsq_len, "lsq_plot",
      &S::lsq_plot, "hist_size", &S::hist_size, "maxdelay", &S::maxdelay, "maxdelay_auto",
      &S::maxdelay_auto, "center_time", &S::center_time, "join", &S::join, "comment", &S::comment,
      "comment_text", &S::comment_text, "partial", &S::partial, "lltmp", &S::lltmp, "crn", &S::crn,
      "csv", &S::csv, "strip_path", &S::strip_path, "negtime", &S::negtime, "logcaz", &S::logcaz,
      "plotcaz", &S::plotcaz, "kodebug", &S::kodebug, "normalize", &S::normalize, "compact",
      &S::compact, "title", &S::title, "external", &S::external, "coord_file", &S::coord_file,
      "coord_loaded", &S::coord_loaded, "range_set", &S::range_set, "range_forced",
      &S::range_forced, "range_t0", &S::range_t0, "range_t1", &S::range_t1, "primary_direction",
      &S::primary_direction, "secondary_direction", &S::secondary_direction);
  if (tavrik::settings.nan_handler == tavrik::keep_nan) {
    seen.nan_handler = tavrik::keep_nan;
    text += " nan_handler=keep_nan";
  }
  EXPECT_TRUE(seen == tavrik::settings) << "a setting that is not in the list";
  return text.empty() ? "" : "settings:" + text + "\n";
}

/// A text without what differs from build to build, and with "..." for what almost every run ends
/// with.
std::string masked(std::string text) {
  const std::pair<std::string, std::string> masks[] = {
      {R"(Version .+ [A-Z][a-z]{2} [ \d]\d 20\d\d \d\d:\d\d:\d\d by)", "Version BUILD by"},
      {"Ver: .+", "Ver: BUILD"},
      {"tavrik Version.*\nCrsfilter:0\n", "...\n"},
      {"options:\\d+:", "options:LINE:"}};
  for (const auto& [pattern, replacement] : masks) {
    text = std::regex_replace(text, std::regex(pattern), replacement);
  }
  return text;
}

class options : public FreshState {
 protected:
  /// What a command line does: its messages, its end, the settings and the file names.
  std::string outcome_of(const std::string& line, const S& before = {}) const {
    Words words = split("tavrik " + line, ' ');
    std::vector<char*> arguments;
    for (std::string& word : words) {
      word = word == "''" ? "" : word == "COORDINATES" ? coordinates : word;
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    tavrik::settings = before;
    optind = 0;
    errno = ERANGE;  // what an earlier call has left there
    support::CapturedStderr captured;
    std::string end;
    try {
      auto file = static_cast<int>(words.size());
      const int status = exit_status([&] { file = tavrik::parse_command_line(arguments); });
      end = status < 0 ? describe_settings() : fmt::format("ends with {}\n", status);
      for (; arguments[static_cast<std::size_t>(file)] != nullptr; ++file) {
        end += fmt::format("file: {}\n", arguments[static_cast<std::size_t>(file)]);
      }
    } catch (const std::exception& error) {
      end = fmt::format("throws {}\n", error.what());
    }
    const std::string messages = captured.take();
    const std::size_t usage = messages.find("Usage: ");
    const std::string shown =
        messages.substr(0, usage) + (usage < messages.size() ? "Usage...\n" : "") + end;
    return masked(std::regex_replace(shown, std::regex(coordinates), "COORDINATES"));
  }

  const support::TemporaryFolder folder;
  const std::string coordinates = folder.write("coordinates", "any\n1 2 3\n0 0\n-75 0\n0 -75\n");
};

TEST_F(options, have_the_accepted_outcomes) {
  std::string text;
  for (const std::string& line : split(support::read_accepted("options.txt"), '\n')) {
    if (line.starts_with("$ ")) {
      const Words variants = split(line.substr(2), '|');
      const std::string outcome = outcome_of(variants.front());
      for (const std::string& variant : variants) {
        EXPECT_EQ(outcome_of(variant), outcome) << variant;
      }
      text += fmt::format("{}\n{}\n", line, outcome);
    }
  }
  support::expect_accepted("options.txt", text);
  S before;
  before.ch1 = 3;
  EXPECT_EQ(outcome_of("--lsq_len=1", before), "...\nch1=4 out of range (1-3)\nends with 1\n");
}

TEST_F(options, have_the_accepted_usage) {
  const auto show = [](const char* program) {
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { tavrik::usage(program); }), 0);
    return masked(captured.take());
  };
  const std::string usual = show("tavrik");
  support::expect_accepted("usage.txt", usual);

  // Defaults are shown whatever was given, but the joining in force.
  tavrik::settings.cstep = 64;
  tavrik::settings.clength = 256;
  tavrik::settings.type = tavrik::MarkerType::maxamp;
  tavrik::settings.maxdelay = 20;
  tavrik::settings.join = false;
  const std::string rest =
      std::regex_replace(usual, std::regex("default: join"), "default: no-join").substr(13);
  const std::string names[][2] = {{"./tavrik", "tavrik"},
                                  {"C:\\bin\\tavrik", "tavrik"},
                                  {"a\\b/c", "b/c"},
                                  {"a/", ""},
                                  {"{}", "{}"}};
  for (const auto& [program, shown] : names) {
    EXPECT_EQ(show(program.c_str()), fmt::format("Usage: {}{}", shown, rest));
  }
}

}  // namespace
