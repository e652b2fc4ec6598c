// The real program from its start to its end.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fnmatch.h>
#include <fstream>
#include <gmock/gmock.h>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "korla/korla_base.h"
#include "tests/support/program_runner.h"
#include "tests/support/split.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

#include "src/process.h"
#include "src/results.h"
#include "src/settings.h"
#include "src/usage.h"

namespace {

using support::Ended;
using support::split;
using support::TemporaryFolder;
using testing::ElementsAre;
using testing::EndsWith;

using Arguments = std::vector<std::string>;

const std::string locale_lines = "LC_ALL=C\nLC_NUMERIC=C\n";

/// A run in a folder with the data files.
struct Row {
  std::string arguments;
  int end;              ///< exit status; of a signal its number below 0
  std::string error;    ///< pattern of the error stream after the locale's lines
  std::string results;  ///< result files with their numbers of lines
  std::string before = ":";
};

class program : public testing::Test {
 protected:
  program() {
    recording::Recording event = recorded_event();
    write_ko24(inputs / "a.ko24", event, 1);
    event.start += 120;
    write_ko24(inputs / "b.ko24", event, 1);
    event.samples.assign(3, std::vector<std::int32_t>(300));
    write_ko24(inputs / "silent.ko24", event, 1);
    support::Ko24Fields fields;
    inputs.write("cut.ko24", support::Ko24File(fields).truncate(40).bytes());
    inputs.write("short.ko24", "ko24 and no more");
    fields.n_channels = 0;
    inputs.write("none.ko24", support::Ko24File(fields).bytes());
    fields.n_channels = 2;
    inputs.write("two.ko24", support::Ko24File(fields).add_values({1, 2, 3, 4}).bytes());
    event.station = 77;
    write_ko24(inputs / "nameless.ko24", event, 1);
  }

  /// Two minutes of a wave from the west-north-west at 20 Hz: 36 windows of 128 samples, every 64.
  static recording::Recording recorded_event() {
    recording::Scene scene;
    scene.sampling_frequency = 20;
    scene.length = 120;
    scene.noise = 20;
    scene.microphones = {{{0, 0}, {-100, 0}, {0, -100}}};
    scene.waves = {{.azimuth = 300, .velocity = 350, .start = -30, .length = 180}};
    return compute_recording(scene);
  }

  Ended run_in(const TemporaryFolder& folder, const Arguments& arguments,
               const std::string& before = ":") const {
    const std::string copy = "cp '" + inputs.path().string() + "'/* .; ";
    return support::run_program(folder.path().string(), arguments, copy + before);
  }

  /// All files but the given ones and the log, with their lines; "the event" for a copy of that.
  std::string results_in(const TemporaryFolder& folder) const {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = entry.path().filename().string();
      if (entry.is_regular_file() && entry.path().has_extension() && !name.ends_with("ko24")) {
        const std::string text = folder.read(name);
        found[name] =
            text == inputs.read("a.ko24") ? "the event" : std::to_string(split(text, '\n').size());
      }
    }
    std::string result;
    for (const auto& [name, lines] : found) {
      result += fmt::format("{}{} {}", result.empty() ? "" : ", ", name, lines);
    }
    return result;
  }

  TemporaryFolder inputs;
};

TEST_F(program, runs) {
  const std::string a = "a.az 36, a.caz 36";
  const std::string none = "No files\n";
  const std::string usage =
      "Usage: tavrik file.ext*\nUsing " + std::string(KorLa::version_line()) + "\n";
  const std::string version = tavrik::version_line() + "\nCrsfilter:0\n";
  const std::string plain = "--quiet -g0 -c -s64 ";
  const std::string skipped =
      "WARNING: can't read x.ko24, skipping it: No such file or directory\n"
      "WARNING: can't read *.ko24, skipping it: No such file or directory\n";
  const std::string constant =
      "WARNING: silent.ko24: channel 1 is constant in 3 of 3 windows: azimuths mean nothing\n"
      "WARNING: silent.ko24: channel 2 is constant in 3 of 3 windows: azimuths mean nothing\n"
      "WARNING: silent.ko24: channel 3 is constant in 3 of 3 windows: azimuths mean nothing\n";
  const std::string nameless =
      "WARNING: nameless.ko24: station number 77 has no name, the run ends\n"
      "Error: nameless.ko24: map::at\n";
  const std::string one_time =
      "WARNING: a.az: begins 120.00 seconds before a.ko24 ends, times of windows may be wrong\n";
  const std::string no_coordinates =
      "WARNING: none: can't open this coordinate file, using the default triangle\n";
  const std::string coordinates =
      "src/geometry:???:: debug: M?1?: x: 0 y: 0\nM?2?: x: -75 y: 0\nM?3?: x: 0 y: -75\n";
  const std::string checks =
      "src/options:???:: debug: ch1 0 ch2 1 ch3 2\nsrc/options:???:: debug: cstep=128 "
      "clength=128\n";
  const std::string no_screen =
      "Using graphics library version 100\nGrSetMode: could not find suitable video driver\n"
      "Nothing to draw on: --memory --save-and-exit saves a picture, -g0 draws none\n";
  const std::string hide_screen = "unset DISPLAY WAYLAND_DISPLAY SDL_VIDEODRIVER";
  const std::string not_logged = "Can't open logfile\nNo logfile entry\n";
  const std::string unreadable = "Can't read /proc/self/mem: Input/output error\n";
  const Row table[] = {
      {"", 0, usage, ""},
      {"--quiet --help", 0, usage, ""},
      {"--nonsense", 0, "*: unrecognized option '--nonsense'\n" + usage, ""},
      {"-\x1b", 0, "*: invalid option -- '[?]'\n" + usage, ""},
      {"--non\x1bsense", 0, "*: unrecognized option '--non[?]sense'\n" + usage, ""},
      {"@empty", 0, usage, "", "echo '# nothing' >empty"},
      {"--quiet", 0, none, ""},
      {"--quiet -w elsewhere", 0, none, ""},
      {"--quiet -where", 1, "Can't write to standard output\n", "", "exec >&-"},
      {plain + "*.dat a.ko24", 0, none, ""},
      {plain + "a?.ko24 a.ko24", 0, none, ""},
      {"--quiet", 0, "No logfile entry\n" + none, "", "mkdir logfile"},
      {"--quiet @list", 0, not_logged + none, "", "echo '#' >list; ln list logfile"},
      {plain + "a.ko24", 0, not_logged + "Coord-file: coord.dat\n", a + ", coord.dat 5",
       "printf '\n1 2 3\n0 0\n-75 0\n0 -75\n' >coord.dat; ln -s coord.dat logfile"},
      {plain + "-x/proc/self/mem a.ko24", 1, unreadable, ""},
      {plain + "/proc/self/mem", -SIGABRT, "Error: " + unreadable, ""},
      // A name can't forge a line, nor command the terminal.
      {plain + "x\nWARNING:\x1b[1m\xc2\x9b\x9b a.ko24", 0,
       "WARNING: can't read x[?]WARNING:[?][[]1m[?][?], skipping it: No such file or directory\n",
       a},
      {plain + "\x1b.ko24", -SIGABRT, "Error: [?].ko24: Unknown version (32) of an ko24 file\n", "",
       "cp short.ko24 $(printf '\033.ko24')"},
      // A time range is announced without its times.
      {"--force=-5-1e9", 0, version + "limiting to  - \n" + none, ""},
      {"--range=0-1e300", -SIGABRT, version + "Error: time_t value out of range\n", ""},
      {"--range=-inf-5", -SIGABRT, version + "Error: time_t value out of range\n", ""},
      {"--quiet --range=0-1e300", 0, none, ""},
      // The level of an option that the user typed counts from the start, that of a response file
      // only where it is read.
      {"--quiet -x none --debug", 0, coordinates + no_coordinates + coordinates + checks + none,
       ""},
      {"--quiet -x none @options", 0, no_coordinates + coordinates + checks + none, "",
       "echo --debug >options"},
      {plain + "-x none a.ko24", 0, no_coordinates, a},
      {plain + "-x wrong a.ko24", -SIGABRT,
       "Coord-file: wrong\nError: can't use \"wrong\" for -x\nError: array::at*\n", "",
       "printf '\n1 2 5\n0 0\n-100 0\n0 -100\n' >wrong"},
      {"-l abc", -SIGABRT, "Error: can't use \"abc\" for -l\nError: stoul\n", ""},
      {plain + "--range=9-5 a.ko24", 0,
       "WARNING: the range 9-5 does not end after it begins, no window is in it\n",
       "a.az 0, a.caz 0"},
      {"--lsq-len=-1", -SIGABRT, version + "Error: narrowing_error\n", ""},
      {plain + "none.ko24", -SIGABRT, "Error: No channels in none.ko24 (channel count 0)\n", ""},
      {plain + "two.ko24", -SIGABRT, "Error: two.ko24 has too few channels (2), 3 are needed\n",
       ""},
      {plain + "cut.ko24", -SIGABRT, "Error: cut.ko24: Unknown magic chan\n", ""},
      {plain + "--no-join a.ko24 short.ko24", -SIGABRT,
       "Error: short.ko24: Unknown version (32) of an ko24 file\n", a},
      {plain + "a.ko24 nameless.ko24", -SIGABRT, nameless, ""},
      {plain + "--no-join a.ko24 nameless.ko24 b.ko24", -SIGABRT, nameless, a},
      {plain + "--no-join a.ko24 folder b.ko24", 1,
       "WARNING: can't read folder, skipping it: not a regular file\n"
       "Can't determine sample frequency\n",
       a, "mkdir folder"},
      // An empty line of a response file is an empty name.
      {plain + "@list", 0, "WARNING: 2 empty file names skipped\n", "a.az 73, a.caz 73",
       "printf 'a.ko24\n\n\nb.ko24\n' >list"},
      {plain + "--no-join @list", 0, "WARNING: 1 empty file name skipped\n",
       a + ", b.az 36, b.caz 36", "printf '\na.ko24\nb.ko24\n' >list"},
      {plain + "@list", 0, "WARNING: 1 empty file name skipped\n" + none, "", "echo >list"},
      {"-g0 -c -s64 -l128 -h --partial --lltmp --crn a.ko24", 0,
       "Stepsize is 64\nLength is 128\n" + version +
           "Coord-file: a.coords\n\n1 2 3\n0 0\n-100 0\n0 -100\n\n"
           "100:270* 100:180 141.*:135*\nSetting maxdelay to 18. Default was 16.\n",
       a + ", a.coords 5, a.crn 108, a.hst 180, a.lltmp 36, a.part 36",
       "printf '\n1 2 3\n0 0\n-100 0\n0 -100\n' >a.coords"},
      // Without joining, patterns are skipped.
      {plain + "--no-join *.ko24 a.ko24 b?.ko24 silent.ko24 ?", 0, constant,
       a + ", silent.az 3, silent.caz 3", "cp a.ko24 '*.ko24'; cp a.ko24 'b?.ko24'"},
      {plain + "x.ko24 a.ko24 *.ko24 b.ko24", 0, skipped, "a.az 73, a.caz 73"},
      {plain + "x.ko24 *.ko24", 1, skipped + "Can't determine sample frequency\n", ""},
      {plain + "--angle=w silent.ko24", 0, "Warning: encountered a Nan\n*",
       "silent.az 3, silent.caz 3"},
      {plain + "a.ko24", 1, "Can't write a.az\n", "a.caz 36", "ln -s /dev/full a.az"},
      {plain + "a.ko24", 1, "Can't open a.az\n", "a.caz 36", "mkdir a.az"},
      // No input is written over.
      {plain + "a.az", 1, "Can't open a.az\n", "a.az the event, a.caz 36", "cp a.ko24 a.az"},
      {plain + "a.ko24", 1, "Can't open a.caz\n", "a.az 36, a.caz the event", "ln a.ko24 a.caz"},
      {plain + "a.ko24", 1, "Can't open a.az\n", "a.az the event, a.caz 36", "ln -s a.ko24 a.az"},
      {plain + "a.ko24 a.az", 1, one_time + "Can't open a.az\n", "a.az the event, a.caz 73",
       "cp a.ko24 a.az"},
      {plain + "--no-join a.ko24 a.az", 1,
       "Can't open a.az\nCan't open a.az\n"
       "WARNING: a.az: a.caz holds the results of a.ko24\nCan't open a.caz\n",
       "a.az the event, a.caz 36", "cp a.ko24 a.az"},
      {plain + "-x a.az a.ko24", 1,
       "Coord-file: a.az\nCoord-file: a.az\nCoord-file: a.az\nCan't open a.az\n",
       "a.az 5, a.caz 36", "printf '\n1 2 3\n0 0\n-75 0\n0 -75\n' >a.az"},
      {plain + "@a.caz", 1, "Can't open a.caz\n", "a.az 36, a.caz 1", "echo a.ko24 >a.caz"},
      {"--quiet a.ko24", 1, no_screen, "", hide_screen},
      {"--quiet -g0 a.ko24", 0, "", "", hide_screen},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.arguments + "   after: " + row.before);
    const TemporaryFolder folder;
    const Ended end = run_in(folder, split(row.arguments, ' '), row.before);
    EXPECT_EQ(end.signal == 0 ? end.status : -end.signal, row.end);
    EXPECT_EQ(end.output, "");
    EXPECT_EQ(fnmatch((locale_lines + row.error).c_str(), end.error.c_str(), FNM_NOESCAPE), 0)
        << end.error;
    EXPECT_EQ(results_in(folder), row.results);
  }
}

TEST_F(program, finds_the_wave) {
  const TemporaryFolder folder;
  recording::write_coordinates(folder / "a.coords", {{{0, 0}, {-100, 0}, {0, -100}}});
  run_in(folder, {"-g0", "-c", "-s64", "a.ko24"});
  std::ifstream lines(folder / "a.az");
  double zero = 0, time = 0, azimuth = 0, velocity = 0;
  while (lines >> zero >> zero >> time >> azimuth >> velocity) {
    EXPECT_NEAR(azimuth, 300, 3);
    EXPECT_NEAR(velocity, 350, 20);
    lines.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  EXPECT_GT(time, 0);
}

TEST_F(program, says_where_it_is_and_logs_every_run) {
  const TemporaryFolder folder;
  EXPECT_EQ(run_in(folder, {"--quiet", "-where"}).output,
            "tavrik is located in " + std::filesystem::path(TAVRIK_PROGRAM).parent_path().string() +
                "\n");
  folder.write("more", "--title=a \"b\"\n--nonsense,\n");
  run_in(folder, {});
  run_in(folder, {"-l", "abc"});
  run_in(folder, {"--quiet", "$more", "x y"});
  EXPECT_THAT(
      split(folder.read("logfile"), '\n'),
      ElementsAre(EndsWith("tavrik --quiet -where"), EndsWith("tavrik"), EndsWith("tavrik -l abc"),
                  EndsWith(R"(tavrik --quiet --title="a \"b\"" "--nonsense," "x y")")));
}

// The silence has no azimuth, so there are messages while result files are open.
TEST_F(program, keeps_its_results_whatever_streams_it_has) {
  const std::string broken = support::break_output;
  const std::string changes[] = {"exec <&-", "exec >&-", "exec 2>&-", "exec <&- >&- 2>&-",
                                 broken + "; exec 2>&1"};
  for (const std::string& before : changes) {
    SCOPED_TRACE(before);
    const TemporaryFolder folder;
    const Ended end =
        run_in(folder, split("-g0 -c -s64 --angle=w --no-join a.ko24 silent.ko24", ' '), before);
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(results_in(folder), "a.az 36, a.caz 36, silent.az 3, silent.caz 3");
  }
}

void write_lines(const std::string& path, int n_lines) {
  tavrik::guard_process();
  tavrik::settings.write_az = true;
  tavrik::open_result_files({path, "", 0});
  for (int i = 0; i < n_lines; ++i) {
    put(tavrik::result_files.az, "line\n");
  }
}

/// Ends as an error does that nothing catches.
void end_at_an_error() {
  try {
    throw std::runtime_error("lost");
  } catch (...) {
    std::terminate();
  }
}

TEST_F(program, keeps_its_lines_beside_those_of_an_earlier_run_at_an_error) {
  const std::string path = inputs / "x";
  const std::string said =
      "WARNING: " + path + ".az is not whole, its lines so far are in " + path + ".az.unfinished\n";
  inputs.write("x.az", "earlier\n");
  for (const int n_lines : {1, 20000}) {  // less and more than the buffer takes
    EXPECT_EXIT((write_lines(path, n_lines), end_at_an_error()), testing::KilledBySignal(SIGABRT),
                "^" + said + "Error: lost\n$");
    EXPECT_EQ(inputs.read("x.az.unfinished").size(), 5U * n_lines);
    EXPECT_EXIT((write_lines(path, n_lines), std::exit(1)), testing::ExitedWithCode(1),
                "^" + said + "$");
    EXPECT_EQ(inputs.read("x.az.unfinished").size(), 5U * n_lines);
  }
  EXPECT_EQ(inputs.read("x.az"), "earlier\n");
}

// A result file that is a pipe, and that nobody reads for a while, makes the run a long one.
TEST_F(program, shows_its_progress_on_a_terminal_alone) {
  for (const int round : {0, 1, 2}) {  // shown, quiet, redirected
    SCOPED_TRACE(round);
    const TemporaryFolder folder;
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_TRUE(grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    ASSERT_EQ(mkfifo((folder / "a.az").c_str(), 0600), 0);
    std::thread reader([&folder] {
      std::ifstream lines(folder / "a.az");
      lines.get();
      std::this_thread::sleep_for(std::chrono::milliseconds(1300));
      lines.ignore(std::numeric_limits<std::streamsize>::max());
    });
    const Ended end =
        run_in(folder, {round == 1 ? "--quiet" : "--comment", "-g0", "-c", "-s1", "a.ko24"},
               round == 2 ? ":" : fmt::format("exec 2>{}", ptsname(terminal)));
    close(open((folder / "a.az").c_str(), O_RDWR | O_CLOEXEC));  // in case the run never did
    reader.join();
    EXPECT_EQ(end.status, 0);
    std::string shown = end.error;
    for (char letter = 0; read(terminal, &letter, 1) == 1;) {
      shown += letter;
    }
    close(terminal);
    EXPECT_EQ(shown.find(" s left") != std::string::npos, round == 0) << shown;
    EXPECT_EQ(shown.find('\033') != std::string::npos, round == 0) << shown;
  }
}

}  // namespace
