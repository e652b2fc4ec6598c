// The log of command lines.

#include "korla/command_log.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/temporary_folder.h"

namespace {

class command_log : public testing::Test {
 protected:
  command_log() { setenv("LC_ALL", "C", 1); }

  /// Logs one run's arguments.
  void log(const std::vector<std::string>& arguments) const {
    std::vector<const char*> pointers;
    pointers.reserve(arguments.size());
    for (const std::string& argument : arguments) {
      pointers.push_back(argument.c_str());
    }
    KorLa::log_command_line((folder / "logfile").c_str(), static_cast<int>(pointers.size()),
                            pointers.data());
  }

  /// What a new log says behind the date, with its leading blank and without its line end.
  std::string logged(const std::vector<std::string>& arguments) const {
    constexpr std::size_t date_size = 17;
    std::filesystem::remove(folder / "logfile");
    log(arguments);
    const std::string line = folder.read("logfile");
    EXPECT_EQ(line.back(), '\n');
    return line.substr(date_size, line.size() - date_size - 1);
  }

  support::TemporaryFolder folder;
};

TEST_F(command_log, quotes_what_a_shell_would_take_apart) {
  EXPECT_EQ(logged({"tavrik", "a.dat", "", "-q"}), " tavrik a.dat  -q");
  EXPECT_EQ(logged({"--title=ab"}), " --title=ab");
  EXPECT_EQ(logged({"a\"b\\c"}), " a\"b\\c");
  EXPECT_EQ(logged({"a\tb;c"}), " a\tb;c");
  EXPECT_EQ(logged({"a b"}), " \"a b\"");
  EXPECT_EQ(logged({"a,b"}), " \"a,b\"");
  EXPECT_EQ(logged({"*.dat"}), " \"*.dat\"");
  EXPECT_EQ(logged({"a\nb"}), " \"a\\nb\"");
  EXPECT_EQ(logged({"say \"a\" \\ b"}), " \"say \\\"a\\\" \\\\ b\"");
  EXPECT_EQ(logged({"--title=a,b=c*d\n"}), " --title=\"a,b=c*d\\n\"");
  EXPECT_EQ(logged({"--a*="}), " --a*=\"\"");
  EXPECT_EQ(logged({"--a\nb=c"}), " \"--a\\nb=c\"");
  EXPECT_EQ(logged({"--x y"}), " \"--x y\"");
  EXPECT_EQ(logged({"-t=a b"}), " \"-t=a b\"");
}

TEST_F(command_log, adds_a_line_with_date_and_time_for_each_call) {
  const std::string date = "[01][0-9]/[0-3][0-9]/[0-9][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] ";
  folder.write("logfile", "what was there before\n");
  log({"tavrik", "-s", "10"});
  log({"tavrik"});
  EXPECT_THAT(folder.read("logfile"), testing::MatchesRegex("what was there before\n" + date +
                                                            "tavrik -s 10\n" + date + "tavrik\n"));
}

TEST_F(command_log, says_so_when_it_can_not_write) {
  const char* const arguments[] = {"tavrik"};
  for (const std::string& path : {folder / "missing/logfile", std::string("/dev/full")}) {
    support::CapturedStderr captured;
    KorLa::log_command_line(path.c_str(), 1, arguments);
    EXPECT_EQ(captured.take(), "No logfile entry\n") << path;
  }
}

/// A line's words, each behind a blank, as a shell would split and unquote it.
std::vector<std::string> shell_words(std::string_view line) {
  std::vector<std::string> words;
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == ' ' && !quoted) {
      words.emplace_back();
    } else if (line[i] == '"') {
      quoted = !quoted;
    } else {
      words.back() += line[i] == '\\' ? line[++i] : line[i];
    }
  }
  return words;
}

// Quotes and backslashes are safe where something else makes the argument be quoted.
TEST_F(command_log, gives_arguments_back_to_a_shell) {
  std::mt19937 random(16);
  const auto text = [&](std::string_view letters) {
    std::string result;
    for (unsigned i = random() % 6; i > 0; --i) {
      result += letters[random() % letters.size()];
    }
    return result;
  };
  for (int run = 0; run < 300; ++run) {
    std::vector<std::string> arguments;
    for (int i = 0; i < 6; ++i) {
      const std::string any = text("ab ,*\"\\=-") + " ,*"[random() % 3] + text("ab ,*\"\\=-");
      const std::string beginnings[] = {"--" + text("abc-") + "=", "-t", "q"};
      arguments.push_back(text("ab./1"));
      arguments.push_back(beginnings[random() % 3] + any);
    }
    EXPECT_EQ(shell_words(logged(arguments)), arguments);
  }
}

}  // namespace
