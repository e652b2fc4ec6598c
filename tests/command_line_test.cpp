// What becomes of the arguments before the options are read: response files, and the log.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <random>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "korla/command_log.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

#include "src/response_files.h"

namespace {

using Arguments = std::vector<std::string>;

class command_line : public FreshState {
 protected:
  /// What the arguments after the program's name become.
  static Arguments expand(Arguments given) {
    given.insert(given.begin(), "@tavrik");
    const std::vector<const char*> pointers = pointers_to(given);
    Arguments result =
        tavrik::expand_response_files(static_cast<int>(pointers.size()), pointers.data()).arguments;
    EXPECT_EQ(result.at(0), "@tavrik");
    result.erase(result.begin());
    return result;
  }

  static void log(const std::string& path, const Arguments& arguments) {
    setenv("LC_ALL", "C", 1);
    const std::vector<const char*> pointers = pointers_to(arguments);
    KorLa::log_command_line(path.c_str(), static_cast<int>(pointers.size()), pointers.data());
  }

  support::TemporaryFolder folder;

 private:
  static std::vector<const char*> pointers_to(const Arguments& arguments) {
    std::vector<const char*> pointers;
    for (const std::string& argument : arguments) {
      pointers.push_back(argument.c_str());
    }
    return pointers;
  }
};

TEST_F(command_line, takes_the_lines_of_response_files) {
  const std::string long_line(5000, 'x');
  const std::string inner = folder.write("inner", "1\n\n2\n");
  const std::pair<std::string, Arguments> table[] = {
      {"-c\n-s 64\na.dat", {"-c", "-s 64", "a.dat"}},
      {"# all\n-c\n#\n #kept\n-c # kept\n", {"-c", " #kept", "-c # kept"}},
      {"-c\r\n\r\n-s\rx\r\n#c\r\n", {"-c", "", "-s\rx"}},
      {long_line + "\n" + long_line + "\n-c\n", {long_line, long_line, "-c"}},
      {" -c \n\t\n", {" -c ", "\t"}},
      {"@missing\n$missing\n@\n$\n", {"@missing", "$missing", "@", "$"}},
      {"a\n$" + inner + "\n#\n@" + inner + "\nb", {"a", "1", "", "2", "1", "", "2", "b"}},
  };
  for (const auto& [contents, lines] : table) {
    const std::string path = folder.write("arguments", contents);
    EXPECT_EQ(expand({"@" + path}), lines);
    EXPECT_EQ(expand({"$" + path}), lines);
  }
  const Arguments as_it_is = {
      "a@b", "", "@", "$", "@" + folder / "missing", "@" + folder.path().string()};
  EXPECT_EQ(expand(as_it_is), as_it_is);
  EXPECT_EQ(expand({"#", "-c", "#@x"}), Arguments{"-c"});

  std::string deepest = inner;
  for (int depth = 0; depth < 300; ++depth) {
    deepest = folder.write(std::to_string(depth), deepest.insert(0, "@"));
  }
  EXPECT_EQ(expand({"-c", "@" + deepest, "-s"}), (Arguments{"-c", "1", "", "2", "-s"}));
}

TEST_F(command_line, takes_the_lines_of_a_pipe) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(write(ends[1], "-c\na\n", 5), 5);
  close(ends[1]);
  const std::string name = "@/dev/fd/" + std::to_string(ends[0]);
  EXPECT_EQ(expand({name, name}), (Arguments{"-c", "a"}));
  close(ends[0]);
}

TEST_F(command_line, ends_at_response_files_without_end) {
  const std::string self = folder.write("self", "-c\n@" + folder / "self" + "\n");
  const std::string link = folder / "link";
  const std::string one = folder.write("one", "$" + folder.write("two", "-c\n@" + link + "\n"));
  std::filesystem::create_symlink("one", link);
  const std::string into = folder.write("into", "@" + self + "\n");
  const std::string leaf = folder.write("leaf", "");
  std::string leaves;
  for (int i = 0; i < 100000; ++i) {
    leaves += "@" + leaf + "\n";
  }
  leaves = folder.write("leaves", leaves);
  const std::string lines = folder.write("lines", std::string(100001, '\n'));
  const std::string half = folder.write("half", std::string((32UL << 20) + 1, '#'));
  const std::string twice = folder.write("twice", "@" + half + "\n@" + half);
  const std::string pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::pair<std::string, std::string> table[] = {
      {self, "Error: response file " + self + " names itself\n"},
      {one, "Error: response file " + link + " names itself\n"},
      {into, "Error: response file " + self + " names itself\n"},
      {link, "Error: response file " + link + " names itself\n"},
      {leaves, "Error: response file " + leaf + " brings more than 100000 response files\n"},
      {lines, "Error: response file " + lines + " brings more than 100000 arguments\n"},
      {twice, "Error: response file " + half + " brings more than 64 MiB\n"},
      {"/dev/zero", "Error: response file /dev/zero brings more than 64 MiB\n"},
      {pipe, "Error: nobody writes to response file " + pipe + "\n"},
      {"/proc/self/mem", "Can't read /proc/self/mem: Input/output error\n"}};
  for (const auto& [first, said] : table) {
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&path = first] { expand({"@" + path}); }), 1);
    EXPECT_EQ(captured.take(), said);
  }
}

TEST_F(command_line, is_logged_in_a_line) {
  const std::string date = "[01][0-9]/[0-3][0-9]/[0-9][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]";
  const std::string path = folder.write("logfile", "what was there before\n");
  log(path,
      {"a.dat", "",         "-q",          "--title=ab", "a\"b\\c",        "a\tb;c",
       "a b",   "a,b",      "*.dat",       "a\nb",       "say \"a\" \\ b", "--title=a,b=c*d\n",
       "--a*=", "--a\nb=c", "--x y",       "-t=a b",     "\xc3\xb6",       "\x1b[1m",
       "--\r=", "--a=\x7f", "\xc2\x9b\x9b"});
  const std::string first = folder.read("logfile");
  EXPECT_THAT(first, testing::MatchesRegex("what was there before\n" + date + " a.dat [^\n]+\n"));
  EXPECT_THAT(first, testing::EndsWith(R"( a.dat  -q --title=ab a"b\c )"
                                       "a\tb;c"
                                       R"( "a b" "a,b" "*.dat" "a\nb" "say \"a\" \\ b")"
                                       R"( --title="a,b=c*d\n" --a*="" "--a\nb=c" "--x y" "-t=a b")"
                                       " \xc3\xb6"
                                       R"( "\x1b[1m" "--\x0d=" --a="\x7f" "\xc2\x9b\x9b")"
                                       "\n"));
  log(path, {"tavrik"});
  EXPECT_THAT(folder.read("logfile").substr(first.size()),
              testing::MatchesRegex(date + " tavrik\n"));
  for (const std::string& bad : {folder / "missing/logfile", std::string("/dev/full")}) {
    support::CapturedStderr captured;
    log(bad, {"tavrik"});
    EXPECT_EQ(captured.take(), "No logfile entry\n") << bad;
  }
}

TEST_F(command_line, is_logged_through_no_link_of_others) {
  const std::string link = folder / "link";
  std::filesystem::create_symlink("logfile", link);
  log(link, {"tavrik"});
  EXPECT_THAT(folder.read("logfile"), testing::EndsWith(" tavrik\n"));
  // Only root can give a link away, and the first process is root's.
  const std::string foreign = lchown(link.c_str(), 1, 1) == 0 ? link : "/proc/1/exe";
  support::CapturedStderr captured;
  log(foreign, {"again"});
  EXPECT_EQ(captured.take(), "Can't open " + foreign + "\nNo logfile entry\n");
  EXPECT_THAT(folder.read("logfile"), testing::EndsWith(" tavrik\n"));
}

TEST_F(command_line, is_logged_whole_or_not_at_all) {
  const std::string before(1000, 'x');
  const std::string path = folder.write("logfile", before);
  rlimit kept{};
  getrlimit(RLIMIT_FSIZE, &kept);
  const rlimit full = {before.size() + 10, kept.rlim_max};
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &full);
  support::CapturedStderr captured;
  log(path, {"tavrik"});
  setrlimit(RLIMIT_FSIZE, &kept);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(captured.take(), "No logfile entry\n");
  EXPECT_EQ(folder.read("logfile"), before);
}

// Quotes and backslashes are safe where something else makes the argument be quoted.
TEST_F(command_line, comes_back_from_the_log_by_a_shell) {
  std::mt19937 random(16);
  const auto text = [&](std::string_view letters) {
    std::string result;
    for (unsigned i = random() % 6; i > 0; --i) {
      result += letters[random() % letters.size()];
    }
    return result;
  };
  Arguments arguments;
  std::string expected;
  for (int i = 0; i < 1000; ++i) {
    const std::string any = text("ab ,*\"\\=-") + " ,*"[random() % 3] + text("ab ,*\"\\=-");
    const std::string beginnings[] = {"--" + text("abc-") + "=", "-t", "q"};
    arguments.push_back(i % 2 == 0 ? "a" + text("ab./1") : beginnings[random() % 3] + any);
    expected += arguments.back() + "\n";
  }
  log(folder / "logfile", arguments);
  constexpr std::size_t date_size = 17;
  const std::string logged = folder.read("logfile").substr(date_size);
  folder.write("script", "printf '%s\\n'" + logged);
  EXPECT_EQ(std::system(("sh " + folder / "script" + " >" + folder / "words").c_str()), 0);
  EXPECT_EQ(folder.read("words"), expected);
}

}  // namespace
