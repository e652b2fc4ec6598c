// The log of command lines.

#include "korla/command_log.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::ElementsAreArray;
using testing::MatchesRegex;

/// Sets an environment variable and puts it back.
class Environment {
 public:
  Environment(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) {
      before_ = before;
    }
    setenv(name, value, 1);
  }

  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  ~Environment() {
    if (before_) {
      setenv(name_.c_str(), before_->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

 private:
  std::string name_;
  std::optional<std::string> before_;
};

class command_log : public testing::Test {
 protected:
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
    folder.write("logfile", "");
    log(arguments);
    const std::string line = folder.read("logfile");
    EXPECT_EQ(line.back(), '\n');
    return line.substr(date_size, line.size() - date_size - 1);
  }

  support::TemporaryFolder folder;
  Environment locale{"LC_ALL", "C"};
};

TEST_F(command_log, quotes_what_a_shell_would_take_apart) {
  struct Row {
    std::string argument;
    std::string expected;
  };

  const std::vector<Row> table = {
      {"a.dat", "a.dat"},
      {"-s", "-s"},
      {"10", "10"},
      {"--title=ab", "--title=ab"},
      {"--title=", "--title="},
      {"a\"b\\c", "a\"b\\c"},
      {"a\tb;c", "a\tb;c"},
      {"", ""},
      {"a b", "\"a b\""},
      {" ", "\" \""},
      {"a,b", "\"a,b\""},
      {"*.dat", "\"*.dat\""},
      {"say \"a\" \\ b", "\"say \\\"a\\\" \\\\ b\""},
      {"--title=a b", "--title=\"a b\""},
      {"--title=a,b=c*d", "--title=\"a,b=c*d\""},
      {"--title= ", "--title=\" \""},
      {"--title=\"a b\"", "--title=\"\\\"a b\\\"\""},
      {"--a*=", "--a*=\"\""},
      {"--x y", "\"--x y\""},
      {"-t=a b", "\"-t=a b\""},
      {"x--t=a b", "\"x--t=a b\""},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.argument);
    EXPECT_EQ(logged({"tavrik", row.argument, "-q"}), " tavrik " + row.expected + " -q");
  }
}

TEST_F(command_log, starts_a_line_with_date_and_time) {
  log({"tavrik", "a.dat", "-s", "10"});
  EXPECT_THAT(folder.read("logfile"),
              MatchesRegex("[01][0-9]/[0-3][0-9]/[0-9][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] "
                           "tavrik a.dat -s 10\n"));
}

TEST_F(command_log, adds_one_line_for_each_call) {
  folder.write("logfile", "what was there before\n");
  log({"tavrik", "1"});
  log({"tavrik", "a\nb", "--title=a\nb c\n", "a b\n"});
  log({"tavrik"});
  EXPECT_THAT(folder.read("logfile"), MatchesRegex("what was there before\n"
                                                   "[^\n]* tavrik 1\n"
                                                   "[^\n]* tavrik [^\n]+\n"
                                                   "[^\n]* tavrik\n"));
}

TEST_F(command_log, says_so_when_it_can_not_write) {
  const char* const arguments[] = {"tavrik"};
  for (const std::string& path : {folder / "missing/logfile", folder.path().string()}) {
    SCOPED_TRACE(path);
    support::CapturedStderr captured;
    KorLa::log_command_line(path.c_str(), 1, arguments);
    EXPECT_EQ(captured.take(), "No logfile entry\n");
  }
}

/// A line's words as a shell would split and unquote it.
std::vector<std::string> shell_words(std::string_view line) {
  std::vector<std::string> words;
  std::optional<std::string> word;
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char letter = line[i];
    if (!quoted && letter == ' ') {
      if (word) {
        words.push_back(*word);
      }
      word.reset();
      continue;
    }
    if (!word) {
      word.emplace();
    }
    if (letter == '"') {
      quoted = !quoted;
    } else if (letter == '\\' && i + 1 < line.size()) {
      *word += line[++i];
    } else {
      *word += letter;
    }
  }
  if (word) {
    words.push_back(*word);
  }
  EXPECT_FALSE(quoted) << line;
  return words;
}

// Quotes and backslashes are safe where something else makes the argument be quoted.
TEST_F(command_log, gives_arguments_back_to_a_shell) {
  std::mt19937 random(16);
  const auto text = [&](std::string_view letters, std::size_t longest) {
    std::string result;
    for (std::size_t i = random() % (longest + 1); i > 0; --i) {
      result += letters[random() % letters.size()];
    }
    return result;
  };
  for (int run = 0; run < 300; ++run) {
    std::vector<std::string> arguments = {"tavrik"};
    for (int i = 0; i < 6; ++i) {
      const std::string any = text("ab ,*\"\\=-", 8);
      switch (random() % 3) {
        case 0:
          arguments.push_back("p" + text("ab.=-/1", 5));
          break;
        case 1:
          arguments.push_back("--" + text("abc-", 4) + "=" + any + " ,*"[random() % 3]);
          break;
        default:
          arguments.push_back("q" + any);
          arguments.back().insert(1 + any.size() / 2, 1, " ,*"[random() % 3]);
      }
    }
    EXPECT_THAT(shell_words(logged(arguments)), ElementsAreArray(arguments));
  }
}

}  // namespace
