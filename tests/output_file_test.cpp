// What becomes of a file that is there when another takes its place, or does not.

#include "src/output_file.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

namespace {

using tavrik::OutputFile;

class output_file : public FreshState {
 protected:
  /// Opens a file and writes "new\nhalf" into it.
  OutputFile write_new(const std::string& name, const std::string& data = "data") const {
    OutputFile file = tavrik::open_output({folder / name, folder / data});
    EXPECT_TRUE(!file.is_open() || write(file.descriptor, "new\nhalf", 8) == 8);
    return file;
  }

  std::ptrdiff_t file_count() const {
    return std::distance(std::filesystem::directory_iterator(folder.path()), {});
  }

  support::TemporaryFolder folder;
};

TEST_F(output_file, takes_the_place_of_what_was_there_when_it_is_whole) {
  struct Case {
    std::string name;
    std::string before;     ///< what it and `old` hold while it grows
    std::string abandoned;  ///< what it and `old` hold after it was abandoned after a line
  };

  const Case cases[] = {
      {"missing", "", ""},
      {"old", "old", "old"},
      {"link", "old", "old"},
      {"second_name", "new\nhalf", "new\n"},
      {"link_to_nothing", "new\nhalf", "new\n"},
  };
  for (const Case& row : cases) {
    const std::string& name = row.name;
    for (const bool whole : {false, true}) {
      SCOPED_TRACE(name);
      reset();
      for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        std::filesystem::remove(entry);
      }
      chmod(folder.write("old", "old").c_str(), 0640);
      std::filesystem::create_symlink("old", folder / "link");
      std::filesystem::create_symlink("nothing", folder / "link_to_nothing");
      if (name == "second_name") {
        std::filesystem::create_hard_link(folder / "old", folder / name);
      }
      const auto count = file_count();
      OutputFile file = write_new(name);
      ASSERT_TRUE(file.is_open());
      const auto contents = [&] {
        return std::filesystem::exists(folder / name) ? folder.read(name) : "";
      };
      EXPECT_EQ(contents(), row.before);
      support::CapturedStderr captured;
      if (whole) {
        EXPECT_TRUE(finish_output(file));
        EXPECT_EQ(contents(), "new\nhalf");
        EXPECT_EQ(captured.take(), "");
      } else {
        abandon_output(file, 4);
        EXPECT_EQ(contents(), row.abandoned);
        const std::string kept = file.target + ".unfinished";
        EXPECT_EQ(captured.take(),
                  "WARNING: " + (folder / name) + " is not whole" +
                      (file.in_place ? "\n" : ", its lines so far are in " + kept + "\n"));
        EXPECT_EQ(file.in_place ? "new\n" : folder.read(kept.substr(kept.rfind('/') + 1)), "new\n");
      }
      const bool is_link = name.starts_with("link");
      EXPECT_EQ(std::filesystem::is_symlink(folder / name), is_link);
      EXPECT_EQ(static_cast<int>(std::filesystem::status(folder / "old").permissions()), 0640);
      EXPECT_EQ(file_count() - count, (whole && name == "missing") || name == "link_to_nothing" ||
                                          (!whole && !file.in_place));
    }
  }
}

TEST_F(output_file, leaves_no_trace_without_a_line) {
  folder.write("old", "old");
  OutputFile file = write_new("old");
  abandon_output(file, 0);
  EXPECT_EQ(folder.read("old"), "old");
  EXPECT_EQ(file_count(), 1);
}

TEST_F(output_file, is_refused_in_the_place_of_an_input_a_folder_another_result_or_an_unread_pipe) {
  folder.write("input", "");
  folder.write("a.ko24", "");
  tavrik::protect_input(folder / "input");
  std::filesystem::create_hard_link(folder / "input", folder / "input.az");
  std::filesystem::create_directory(folder / "folder.az");
  mkfifo((folder / "pipe.az").c_str(), 0600);
  OutputFile first = write_new("a.az", "a.ko24");
  ASSERT_TRUE(finish_output(first));
  std::filesystem::create_symlink("a.az", folder / "b.az");
  std::filesystem::create_hard_link(folder / "a.az", folder / "a.caz");
  for (const std::string name : {"input.az", "folder.az", "pipe.az", "no/a.az", "a.caz"}) {
    support::CapturedStderr captured;
    EXPECT_FALSE(write_new(name, "a.ko24").is_open());
    EXPECT_EQ(captured.take(), "Can't open " + (folder / name) + "\n");
  }
  for (const std::string name : {"a.az", "b.az"}) {
    support::CapturedStderr captured;
    EXPECT_FALSE(write_new(name, "a.txt").is_open());
    EXPECT_EQ(captured.take(), "WARNING: " + (folder / "a.txt") + ": " + (folder / name) +
                                   " holds the results of " + (folder / "a.ko24") +
                                   "\nCan't open " + (folder / name) + "\n");
  }
  EXPECT_TRUE(tavrik::result_state.output_lost);
  EXPECT_EQ(folder.read("a.az"), "new\nhalf");
  std::filesystem::remove(folder / "a.caz");
  OutputFile again = write_new("a.az", "a.ko24");  // the same file is analysed once more
  EXPECT_TRUE(again.is_open() && finish_output(again));
}

}  // namespace
