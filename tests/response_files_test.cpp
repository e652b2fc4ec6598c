// Arguments that come from files.

#include "src/response_files.h"

#include <string>
#include <unistd.h>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

namespace {

using Arguments = std::vector<std::string>;

class response_files : public FreshState {
 protected:
  /// What the arguments behind the program's name become.
  static Arguments expand(const Arguments& given) {
    std::vector<const char*> pointers = {"@tavrik"};
    for (const std::string& argument : given) {
      pointers.push_back(argument.c_str());
    }
    Arguments result =
        tavrik::expand_response_files(static_cast<int>(pointers.size()), pointers.data());
    EXPECT_EQ(result.at(0), "@tavrik");
    result.erase(result.begin());
    return result;
  }

  support::TemporaryFolder folder;
};

TEST_F(response_files, become_their_lines) {
  const std::string long_line(5000, 'x');
  const std::pair<std::string, Arguments> table[] = {
      {"-c\n-s 64\na.dat", {"-c", "-s 64", "a.dat"}},
      {"# all\n-c\n#\n #kept\n-c # kept\n", {"-c", " #kept", "-c # kept"}},
      {"-c\r\n\r\n-s\rx\r\n#c\r\n", {"-c", "", "-s\rx"}},
      {long_line + "\n" + long_line + "\n-c\n", {long_line, long_line, "-c"}},
      {" -c \n\t\n", {" -c ", "\t"}},
      {"@missing\n$missing\n@\n$\n", {"@missing", "$missing", "@", "$"}},
  };
  for (const auto& [contents, lines] : table) {
    const std::string path = folder.write("arguments", contents);
    EXPECT_EQ(expand({"@" + path}), lines);
    EXPECT_EQ(expand({"$" + path}), lines);
  }

  const Arguments given = {
      "a@b", "", "@", "$", "@" + folder / "missing", "@" + folder.path().string()};
  EXPECT_EQ(expand(given), given);
  EXPECT_EQ(expand({"#", "-c", "#@x"}), Arguments{"-c"});
}

TEST_F(response_files, nest) {
  const std::string inner = folder.write("inner", "1\n\n2\n");
  const std::string middle = folder.write("middle", "a\n$" + inner + "\n#\n@" + inner + "\nb");
  EXPECT_EQ(expand({"-c", "@" + middle, "-s"}),
            (Arguments{"-c", "a", "1", "", "2", "1", "", "2", "b", "-s"}));
  std::string deepest = inner;
  for (int depth = 0; depth < 300; ++depth) {
    deepest.insert(0, "@");
    deepest = folder.write(std::to_string(depth), deepest);
  }
  EXPECT_EQ(expand({"@" + deepest}), (Arguments{"1", "", "2"}));
}

TEST_F(response_files, that_name_themselves_end_the_program) {
  const std::string self = folder.write("self", "-c\n@" + folder / "self" + "\n");
  const std::string one = folder.write("one", "$" + folder / "two");
  folder.write("two", "-c\n@" + folder / "link" + "\n");
  ASSERT_EQ(symlink("one", (folder / "link").c_str()), 0);
  const std::string into = folder.write("into", "@" + self + "\n");

  const std::pair<std::string, std::string> table[] = {
      {self, self}, {one, folder / "link"}, {into, self}, {folder / "link", folder / "link"}};
  for (const auto& [first, named] : table) {
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&path = first] { expand({"@" + path}); }), 1);
    EXPECT_EQ(captured.take(), "Error: response file " + named + " names itself\n");
  }
}

}  // namespace
