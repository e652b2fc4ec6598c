// The real program from its start to its end.

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tests/support/program_runner.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

namespace {

using support::Ended;
using support::run_program;
using support::Stream;
using support::Streams;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

using Arguments = std::vector<std::string>;

const std::string locale_lines = "LC_ALL=C\nLC_NUMERIC=C\n";

std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

int count(const std::string& text, const std::string& part) {
  int result = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++result;
  }
  return result;
}

class program : public testing::Test {
 protected:
  static constexpr recording::Positions microphones = {{{0, 0}, {-100, 0}, {0, -100}}};
  static constexpr std::size_t n_windows = 36;  // of 128 samples, every 64, within 2400

  /// Two minutes of a wave from the west-north-west at 20 Hz.
  static recording::Recording event() {
    recording::Scene scene;
    scene.sampling_frequency = 20;
    scene.length = 120;
    scene.noise = 20;
    scene.microphones = microphones;
    scene.waves = {{.azimuth = 300, .velocity = 350, .start = -30, .length = 180}};
    return compute_recording(scene);
  }

  void write_event(std::string_view name) const { write_ko24(folder / name, event(), 1); }

  Ended run(const Arguments& arguments, const Streams& streams = {}) const {
    return run_program(folder.path().string(), arguments, streams);
  }

  bool exists(std::string_view name) const { return std::filesystem::exists(folder / name); }

  std::size_t line_count(std::string_view name) const { return lines_of(folder.read(name)).size(); }

  support::TemporaryFolder folder;
};

TEST_F(program, shows_its_usage) {
  for (const Arguments& arguments : {Arguments{}, {"-?"}, {"--quiet", "--help"}, {"--nonsense"}}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Ended end = run(arguments);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.output, "");
    EXPECT_THAT(end.error, StartsWith(locale_lines));
    EXPECT_THAT(end.error, HasSubstr("\nUsage: tavrik file.ext [-options]"));
    EXPECT_EQ(count(end.error, "No files"), 0);
  }
  folder.write("empty", "# nothing\n");
  EXPECT_THAT(run({"@empty"}).error, StartsWith(locale_lines + "Usage: tavrik file.ext"));
}

TEST_F(program, tells_where_it_is_and_when_there_are_no_files) {
  const Ended end = run({"--quiet", "-where"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.output, "tavrik is located in " +
                            std::filesystem::path(TAVRIK_PROGRAM).parent_path().string() + "\n");
  EXPECT_EQ(end.error, locale_lines + "No files\n");

  write_event("rec.ko24");
  for (const Arguments& arguments : {Arguments{"--quiet"},
                                     {"--quiet", "-c", "*.dat", "rec.ko24"},
                                     {"-c", "rec?.ko24", "rec.ko24", "--quiet"}}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(run(arguments).error, locale_lines + "No files\n");
    EXPECT_FALSE(exists("rec.az"));
  }
}

TEST_F(program, announces_a_time_range_without_its_times) {
  const auto end_of = [this](const std::string& range, int signal) {
    const Ended end = run({range});
    EXPECT_EQ(end.signal, signal) << range;
    return end.error;
  };
  EXPECT_THAT(end_of("--force=-5-1e9", 0), EndsWith("\nCrsfilter:0\nlimiting to  - \nNo files\n"));
  EXPECT_THAT(end_of("--range=0-1e300", SIGABRT), EndsWith("time_t value out of range\n"));
  EXPECT_THAT(end_of("--range=-inf-5", SIGABRT), EndsWith("time_t value out of range\n"));
  EXPECT_EQ(run({"--quiet", "--range=0-1e300"}).error, locale_lines + "No files\n");
}

// The level of an option that the user typed counts from the start, that of a response file only
// where it is read.
TEST_F(program, traces_its_options_whatever_their_order) {
  folder.write("options", "--debug\n");
  EXPECT_EQ(count(run({"-x", "none", "--debug"}).error, "src/geometry:"), 2);
  EXPECT_EQ(count(run({"-x", "none", "@options"}).error, "src/geometry:"), 1);
}

TEST_F(program, logs_every_run_in_a_line) {
  folder.write("more", "--title=a \"b\"\n--nonsense,\n");
  run({});
  run({"-l", "abc"});
  run({"--quiet", "$more", "x y"});
  EXPECT_THAT(lines_of(folder.read("logfile")),
              ElementsAre(EndsWith("tavrik"), EndsWith("tavrik -l abc"),
                          EndsWith("tavrik --quiet --title=\"a \\\"b\\\"\" \"--nonsense,\" "
                                   "\"x y\"")));
}

TEST_F(program, does_without_its_log) {
  std::filesystem::create_directory(folder / "logfile");
  const Ended end = run({"--quiet"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.error, locale_lines + "No logfile entry\nNo files\n");
}

TEST_F(program, refuses_a_circle_of_response_files) {
  folder.write("one", "-c\n@two\n");
  folder.write("two", "$one\n");
  const Ended end = run({"@one"});
  EXPECT_EQ(end.status, 1);
  EXPECT_THAT(end.error, MatchesRegex(locale_lines + "[^\n]* one[^\n]*\n"));
}

TEST_F(program, ends_abnormally_with_one_message) {
  support::Ko24Fields none;
  none.n_channels = 0;
  support::Ko24Fields two;
  two.n_channels = 2;
  folder.write("none.ko24", support::Ko24File(none).bytes());
  folder.write("two.ko24", support::Ko24File(two).add_values({1, 2, 3, 4}).bytes());
  folder.write("cut.ko24", support::Ko24File({}).truncate(40).bytes());

  struct Row {
    Arguments arguments;
    std::vector<std::string> told;  // each of them once
  };

  const Row table[] = {
      {{"-l", "abc"}, {"stoul"}},
      {{"--vortex=x"}, {"stod"}},
      {{"--lsq-len=-1"}, {"narrow"}},
      {{"-g0", "none.ko24"}, {"none.ko24", "0"}},
      {{"-g0", "two.ko24"}, {"two.ko24", "(2)"}},
      {{"-g0", "cut.ko24"}, {"cut.ko24", "Unknown magic"}},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.arguments.back());
    Arguments arguments = {"--quiet"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Ended end = run(arguments);
    EXPECT_EQ(end.signal, SIGABRT);
    ASSERT_THAT(end.error, StartsWith(locale_lines));
    const std::string told = end.error.substr(locale_lines.size());
    EXPECT_EQ(count(told, "\n"), 1) << told;
    for (const std::string& part : row.told) {
      EXPECT_EQ(count(told, part), 1) << told;
    }
  }
}

TEST_F(program, keeps_finished_results_when_a_later_file_is_bad) {
  write_event("a.ko24");
  folder.write("b.ko24", "ko24 and no more");
  const Ended end = run({"--quiet", "-g0", "-c", "-s64", "--no-join", "a.ko24", "b.ko24"});
  EXPECT_EQ(end.signal, SIGABRT);
  EXPECT_EQ(line_count("a.az"), n_windows);
  EXPECT_EQ(line_count("a.caz"), n_windows);
}

TEST_F(program, analyses_a_recording) {
  write_event("rec.ko24");
  write_coordinates(folder / "rec.coords", microphones);
  const Ended end =
      run({"-g0", "-c", "-s64", "-l128", "-h", "--partial", "--lltmp", "--crn", "rec.ko24"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.output, "");
  EXPECT_THAT(lines_of(end.error),
              ElementsAre("LC_ALL=C", "LC_NUMERIC=C", "Stepsize is 64", "Length is 128",
                          StartsWith("tavrik Version "), "Crsfilter:0", "Coord-file: rec.coords",
                          "", "1 2 3", "0 0", "-100 0", "0 -100", "",
                          MatchesRegex("100:270[.0-9]* 100:180 141[.][0-9]+:135[.0-9]*"),
                          "Setting maxdelay to 18. Default was 16."));

  for (const char* name : {"rec.az", "rec.caz", "rec.part", "rec.lltmp"}) {
    EXPECT_EQ(line_count(name), n_windows) << name;
  }
  EXPECT_EQ(line_count("rec.crn"), 3 * n_windows);
  EXPECT_EQ(line_count("rec.hst"), 180U);
  for (const std::string& line : lines_of(folder.read("rec.az"))) {
    std::istringstream numbers(line);
    double zero = 0, time = 0, azimuth = 0, velocity = 0;
    numbers >> zero >> zero >> time >> azimuth >> velocity;
    EXPECT_NEAR(azimuth, 300, 3) << line;
    EXPECT_NEAR(velocity, 350, 20) << line;
  }
}

TEST_F(program, skips_patterns_when_it_takes_files_one_by_one) {
  for (const char* name : {"a.ko24", "b?.ko24", "*.ko24", "c.ko24"}) {
    write_event(name);
  }
  const Ended end =
      run({"--quiet", "-g0", "-c", "--no-join", "*.ko24", "a.ko24", "b?.ko24", "c.ko24", "?"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.error, locale_lines);
  EXPECT_FALSE(exists("*.az"));
  EXPECT_FALSE(exists("b?.az"));
  EXPECT_EQ(line_count("a.az"), 18U);
  EXPECT_EQ(folder.read("a.az"), folder.read("c.az"));
}

TEST_F(program, joins_the_files_that_it_can_read) {
  recording::Recording later = event();
  write_ko24(folder / "a.ko24", later, 1);
  later.start += 120;
  write_ko24(folder / "b.ko24", later, 1);
  const Ended end = run(
      {"--quiet", "-g0", "-c", "-s64", "first.ko24", "a.ko24", "gone.ko24", "b.ko24", "*.ko24"});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(lines_of(end.error.substr(locale_lines.size())),
              ElementsAre(HasSubstr("first.ko24"), HasSubstr("gone.ko24"), HasSubstr("*.ko24")));
  EXPECT_FALSE(exists("first.az"));
  EXPECT_FALSE(exists("b.az"));
  EXPECT_EQ(line_count("a.az"), 73U);

  const Ended none = run({"--quiet", "-g0", "-c", "first.ko24", "gone.ko24"});
  EXPECT_EQ(none.status, 1);
  EXPECT_THAT(lines_of(none.error.substr(locale_lines.size())),
              ElementsAre(HasSubstr("first.ko24"), HasSubstr("gone.ko24"),
                          "Can't determine sample frequency"));
}

TEST_F(program, keeps_its_results_whatever_streams_it_has) {
  write_event("rec.ko24");
  recording::Recording silence = event();
  silence.samples.assign(3, std::vector<std::int32_t>(300));
  write_ko24(folder / "silent.ko24", silence, 1);
  const Arguments arguments = {"-g0",       "-c",       "-s64",       "--angle=w",
                               "--no-join", "rec.ko24", "silent.ko24"};
  // The silence has no azimuth, so there are messages while result files are open.
  EXPECT_GT(count(run(arguments).error, "Warning: encountered a Nan\n"), 0);
  const auto results = [this] {
    return Arguments{folder.read("rec.az"), folder.read("rec.caz"), folder.read("silent.az"),
                     folder.read("silent.caz")};
  };
  const Arguments expected = results();
  EXPECT_EQ(count(expected[0], "\n"), 36);
  EXPECT_EQ(count(expected[3], "\n"), 3);

  constexpr Stream closed = Stream::closed;
  constexpr Stream broken = Stream::broken;
  for (const Streams& streams : {Streams{.input = closed},
                                 {.output = closed},
                                 {.error = closed},
                                 {closed, closed, closed},
                                 {Stream::kept, broken, broken}}) {
    for (const char* name : {"rec.az", "rec.caz", "silent.az", "silent.caz"}) {
      std::filesystem::remove(folder / name);
    }
    const Ended end = run(arguments, streams);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.signal, 0);
    EXPECT_EQ(results(), expected);
  }
}

TEST_F(program, tells_of_a_full_disk) {
  write_event("rec.ko24");
  std::filesystem::create_symlink("/dev/full", folder / "rec.az");
  for (const char* joining : {"--join", "--no-join"}) {
    SCOPED_TRACE(joining);
    const Ended end = run({"--quiet", "-g0", "-c", "-s64", joining, "rec.ko24"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.error, locale_lines + "Can't write rec.az\n");
    EXPECT_EQ(line_count("rec.caz"), n_windows);
  }
}

TEST_F(program, goes_on_without_a_result_file_that_can_not_be_opened) {
  write_event("rec.ko24");
  std::filesystem::create_directory(folder / "rec.az");
  const Ended end = run({"--quiet", "-g0", "-c", "-s64", "rec.ko24"});
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.error, locale_lines + "Can't open rec.az\n");
  EXPECT_EQ(line_count("rec.caz"), n_windows);
}

TEST_F(program, never_writes_over_an_input) {
  struct Row {
    std::string name;
    std::function<void()> set_up;
    Arguments arguments;
    std::string input, refused;
  };

  const auto link = [this](const char* from, const char* to) {
    std::filesystem::create_hard_link(folder / from, folder / to);
  };
  const auto symbolic = [this] { std::filesystem::create_symlink("rec.az", folder / "x.az"); };
  const auto coordinates = [this] { folder.write("k.az", "VQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n"); };
  const Row table[] = {
      {"the data file", [] {}, {"rec.az"}, "rec.az", "rec.az"},
      {"by a hard link", [&] { link("rec.az", "x.caz"); }, {"x.ko24"}, "rec.az", "x.caz"},
      {"by a symbolic link", symbolic, {"x.ko24"}, "rec.az", "x.az"},
      {"of a later file", [] {}, {"rec.ko24", "rec.az"}, "rec.az", "rec.az"},
      {"one by one", [] {}, {"--no-join", "rec.ko24", "rec.az"}, "rec.az", "rec.az"},
      {"coordinates", coordinates, {"-x", "k.az", "k.ko24"}, "k.az", "k.az"},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      std::filesystem::remove(entry);
    }
    write_event("rec.az");
    row.set_up();
    for (const char* name : {"rec.ko24", "k.ko24"}) {
      write_event(name);
    }
    if (row.arguments.back() == "x.ko24") {
      link("rec.az", "x.ko24");
    }
    const std::string before = folder.read(row.input);
    Arguments arguments = {"--quiet", "-g0", "-c"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Ended end = run(arguments);
    EXPECT_EQ(end.status, 0);
    EXPECT_THAT(end.error, HasSubstr("Can't open " + row.refused + "\n"));
    EXPECT_TRUE(folder.read(row.input) == before);
  }
}

// A result file that is a pipe, and that nobody reads for a while, makes the run a long one.
TEST_F(program, says_what_to_do_without_a_display_or_its_window) {
  write_event("rec.ko24");
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("SDL_VIDEODRIVER");
  const auto expect_no_window = [this] {
    const Ended end = run({"--quiet", "rec.ko24"});
    EXPECT_EQ(end.status, 1);
    EXPECT_EQ(end.error, locale_lines +
                             "Using graphics library version 100\n"
                             "GrSetMode: could not find suitable video driver\n"
                             "Nothing to draw on: --memory --save-and-exit saves a picture, "
                             "-g0 draws none\n");
  };
  expect_no_window();
  // A module that can't be loaded, in front of the real one, and a driver that would do.
  folder.write("tavrik_window.so", "");
  setenv("LD_LIBRARY_PATH", folder.path().c_str(), 1);
  setenv("SDL_VIDEODRIVER", "dummy", 1);
  expect_no_window();
  EXPECT_EQ(run({"-g0", "rec.ko24"}).status, 0);
  EXPECT_EQ(run({"--memory", "--save-and-exit", "rec.ko24"}).status, 0);
  EXPECT_TRUE(exists("rec.png"));
}

TEST_F(program, shows_its_progress_on_a_terminal_alone) {
  for (const int round : {0, 1, 2}) {  // shown, quiet, redirected
    SCOPED_TRACE(round);
    write_event("rec.ko24");
    std::filesystem::remove(folder / "rec.az");
    ASSERT_EQ(mkfifo((folder / "rec.az").c_str(), 0600), 0);
    const Arguments arguments = {round == 1 ? "--quiet" : "--comment", "-g0", "-c", "-s1",
                                 "rec.ko24"};
    const int reader = open((folder / "rec.az").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    support::ProgramRun running(folder.path().string(), arguments,
                                {.error = round == 2 ? Stream::kept : Stream::terminal});
    pollfd first_lines = {reader, POLLIN, 0};
    EXPECT_EQ(poll(&first_lines, 1, 30000), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));
    fcntl(reader, F_SETFL, 0);
    std::string lines(1 << 20, '\0');
    while (read(reader, lines.data(), lines.size()) > 0) {
    }
    close(reader);
    const Ended end = running.wait();
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(count(end.error, " s left") > 0, round == 0) << end.error;
    EXPECT_EQ(count(end.error, "\033") > 0, round == 0) << end.error;
  }
}

}  // namespace
