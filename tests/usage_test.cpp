// The usage text.

#include "src/usage.h"

#include <gmock/gmock.h>
#include <string>
#include <utility>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class usage_text : public FreshState {
 protected:
  static std::string show(const char* program) {
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { tavrik::usage(program); }), 0);
    return captured.take();
  }
};

TEST_F(usage_text, starts_with_the_file_name_of_the_program) {
  const std::pair<const char*, std::string> table[] = {
      {"tavrik", "tavrik"}, {"./tavrik", "tavrik"}, {"C:\\bin\\tavrik", "tavrik"},
      {"a\\b/c", "b/c"},    {"a/b\\c", "c"},        {"a/", ""},
      {"{}", "{}"}};
  for (const auto& [program, shown] : table) {
    EXPECT_THAT(show(program), StartsWith("Usage: " + shown +
                                          " file.ext [-options] [--long-options]\n\n"
                                          "  -g#             # = [0   no gfx] [1  640x200]"));
  }
}

TEST_F(usage_text, shows_defaults_whatever_was_given_but_the_joining_in_force) {
  tavrik::settings.cstep = 64;
  tavrik::settings.clength = 256;
  tavrik::settings.type = tavrik::MarkerType::maxamp;
  tavrik::settings.maxdelay = 20;
  const std::string text = show("tavrik");
  for (const char* line : {
           "\n -s #             Steplength (128).\n -l #             Correlationslength (128).\n",
           "\n -t #             Weighted markers ( 0=normal, 1=maxcrs, 2=maxamp) (Default: 0).\n",
           "\n --maxdelay=#     Number of crosscorrelation steps. (Default: 16)\n",
           "\n --angle=type     Specify function for angular calulation:\n",
       }) {
    EXPECT_THAT(text, HasSubstr(line));
  }
  EXPECT_THAT(text, HasSubstr(" --[no-]join      Join several files (default: join)\n"));
  tavrik::settings.join = false;
  EXPECT_THAT(show("tavrik"), HasSubstr("Join several files (default: no-join)\n"));
}

TEST_F(usage_text, ends_with_the_keys_and_the_versions) {
  const std::string text = show("tavrik");
  const std::string last_option = " -?               Show this help.\n\n";
  const std::size_t end = text.find(last_option);
  ASSERT_NE(end, std::string::npos);
  std::string keys;
  for (const char* row : {
           "  Online Help",
           "  ==========================================================",
           "  Enter      Display next file",
           "  BackSpace  Display previous file",
           "  Esc        Exit program",
           "  1          Select normal plot",
           "  2          Select circular plot",
           "  P          Toggle normal/circular plot",
           "  +/-        Increase/decrease div in circular plot",
           "  U          Toggle time between minutes.secs and HHMM.SS ut",
           "  B          Toggle time between beginning and center",
           "  F/S        Save complete image as .png",
       }) {
    std::string padded = row;
    padded.resize(62, ' ');
    keys += padded + "\n";
  }
  const std::string behind = text.substr(end + last_option.size());
  EXPECT_EQ(behind.substr(0, keys.size()), keys);
  EXPECT_THAT(behind.substr(keys.size()),
              MatchesRegex("tavrik Version [^\n]+ [A-Z][a-z][a-z] [ 0-9][0-9] 20[0-9][0-9] "
                           "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [^\n]+\n[^\n]+\n[^\n]+\n"
                           "Using libkorla Ver: [^\n]+\n"));
}

}  // namespace
