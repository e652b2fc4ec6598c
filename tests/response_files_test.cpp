// Arguments that come from files.

#include "src/response_files.h"

#include <gmock/gmock.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

namespace {

using testing::HasSubstr;

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
  struct Row {
    std::string name, contents;
    Arguments expected;
  };

  const std::string long_line(5000, 'x');
  const Row table[] = {
      {"lines in order", "-c\n-s 64\na.dat\n", {"-c", "-s 64", "a.dat"}},
      {"no last line end", "-c\n-s", {"-c", "-s"}},
      {"comments", "# all\n-c\n#\n #kept\n-c # kept\n", {"-c", " #kept", "-c # kept"}},
      {"empty lines", "\n-c\n\n", {"", "-c", ""}},
      {"line ends of other systems", "-c\r\n\r\n-s\rx\r\n#c\r\n", {"-c", "", "-s\rx"}},
      {"longer than 4096", long_line + "\n" + long_line + "\n-c\n", {long_line, long_line, "-c"}},
      {"blanks stay", " -c \n\t\n", {" -c ", "\t"}},
      {"names of no file", "@missing\n$missing\n@\n$\n", {"@missing", "$missing", "@", "$"}},
      {"comments alone", "#\n# -c\n", {}},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const std::string path = folder.write("arguments", row.contents);
    for (const char* mark : {"@", "$"}) {
      Arguments expected = {"first"};
      expected.insert(expected.end(), row.expected.begin(), row.expected.end());
      expected.emplace_back("last");
      EXPECT_EQ(expand({"first", mark + path, "last"}), expected);
    }
  }
}

TEST_F(response_files, are_only_what_can_be_read) {
  const Arguments given = {
      "-c",       "a@b", "", "@", "$", "@" + folder / "missing", "@" + folder.path().string(),
      "--title=#"};
  EXPECT_EQ(expand(given), given);
  EXPECT_EQ(expand({"#", "-c", "#@x"}), Arguments{"-c"});
}

TEST_F(response_files, nest) {
  const std::string inner = folder.write("inner", "1\n\n2\n");
  const std::string middle = folder.write("middle", "a\n$" + inner + "\n#\n@" + inner + "\nb");
  const std::string outer = folder.write("outer", "@" + middle + "\n");
  const Arguments expected = {"a", "1", "", "2", "1", "", "2", "b"};
  EXPECT_EQ(expand({"@" + outer}), expected);
  EXPECT_EQ(expand({"@" + inner, "@" + inner}), (Arguments{"1", "", "2", "1", "", "2"}));

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
  const std::string two = folder.write("two", "-c\n@" + folder / "link" + "\n");
  ASSERT_EQ(symlink("one", (folder / "link").c_str()), 0);
  const std::string into = folder.write("into", "@" + self + "\n");

  struct Row {
    std::string name, first, named;
  };

  const Row table[] = {
      {"directly", self, self},
      {"through another, and by another name", one, folder / "link"},
      {"from outside the circle", into, self},
      {"entered elsewhere", folder / "link", folder / "link"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { expand({"@" + row.first}); }), 1);
    EXPECT_THAT(captured.take(), HasSubstr(row.named));
  }
}

}  // namespace
