// The usage text.

#include "src/usage.h"

#include <gmock/gmock.h>
#include <string>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"

namespace {

using testing::HasSubstr;

class usage_text : public FreshState {
 protected:
  static std::string show(const char* program) {
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { tavrik::usage(program); }), 0);
    return captured.take();
  }
};

TEST_F(usage_text, starts_with_the_file_name_of_the_program) {
  const std::string table[][2] = {{"./tavrik", "tavrik"},
                                  {"C:\\bin\\tavrik", "tavrik"},
                                  {"a\\b/c", "b/c"},
                                  {"a/", ""},
                                  {"{}", "{}"}};
  for (const auto& [program, shown] : table) {
    EXPECT_THAT(show(program.c_str()),
                testing::StartsWith("Usage: " + shown + " file.ext [-options] "));
  }
}

TEST_F(usage_text, shows_defaults_whatever_was_given_but_the_joining_in_force) {
  tavrik::settings.cstep = 64;
  tavrik::settings.clength = 256;
  tavrik::settings.type = tavrik::MarkerType::maxamp;
  tavrik::settings.maxdelay = 20;
  tavrik::settings.join = false;
  const std::string text = show("tavrik");
  EXPECT_THAT(text, HasSubstr(" Steplength (128).\n"));
  EXPECT_THAT(text, HasSubstr(" Correlationslength (128).\n"));
  EXPECT_THAT(text, HasSubstr(" 2=maxamp) (Default: 0).\n"));
  EXPECT_THAT(text, HasSubstr(" crosscorrelation steps. (Default: 16)\n"));
  EXPECT_THAT(text, HasSubstr(" --[no-]join      Join several files (default: no-join)\n"));
  EXPECT_THAT(text, HasSubstr("\n -?               Show this help.\n\n  Online Help      "));
}

TEST_F(usage_text, ends_with_the_keys_and_the_versions) {
  EXPECT_THAT(show("tavrik"), testing::ContainsRegex(
                                  "  F/S        Save complete image as .png {22}\n"
                                  "tavrik Version [^\n]+ [A-Z][a-z][a-z] [ 0-9][0-9] 20[0-9][0-9] "
                                  "[0-9][0-9]:[0-9][0-9]:[0-9][0-9] [^\n]+\n[^\n]+\n[^\n]+\n"
                                  "Using libkorla Ver: [^\n]+\n$"));
}

}  // namespace
