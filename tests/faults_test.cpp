// What is left of a run when the system refuses a call, or when it is ended at any moment: whole
// files, or those of an earlier run and a message.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/program_runner.h"
#include "tests/support/split.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

namespace {

using support::Ended;
using support::ProgramRun;
using support::TemporaryFolder;

const std::string earlier = "of an earlier run\n";
const std::string all_but_vaz = "-g0 -l512 -h --entropy --acr --partial --lltmp --crn";
const std::string picture = "--memory --save-and-exit";

/// How many rounds there are of what may go on for long: the environment may want more.
int rounds(int usual) {
  const char* wanted = std::getenv("TAVRIK_FAULT_ROUNDS");
  return wanted != nullptr ? std::atoi(wanted) : usual;
}

bool says(const Ended& end, const std::string& words) {
  return end.error.find("\n" + words) != std::string::npos;
}

/// Whether a run ended before it had anything to write.
bool gave_up(const Ended& end) {
  return end.signal != 0 || says(end, "Can't determine") || says(end, "Nothing to draw");
}

class faults : public testing::Test {
 protected:
  void record(double seconds) {
    write_ko24(inputs / "a.ko24", recording::compute_recording({.length = seconds}), 1);
  }

  /// Runs undisturbed, for what the files are to hold.
  void learn(const std::string& options) {
    const TemporaryFolder folder;
    whole.clear();
    prepare(folder);
    output = support::run_program(folder.path(), words(options)).output;
    whole = results(folder);
  }

  /// Puts the recording into a folder, and results of an earlier run.
  void prepare(const TemporaryFolder& folder) const {
    std::filesystem::create_symlink(inputs / "a.ko24", folder / "a.ko24");
    for (const auto& [name, contents] : whole) {
      folder.write(name, earlier);
    }
  }

  static std::vector<std::string> words(const std::string& options) {
    return support::split("--quiet -c " + options + " a.ko24", ' ');
  }

  static std::map<std::string, std::string> results(const TemporaryFolder& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      files[entry.path().filename()] = folder.read(entry.path().filename().string());
    }
    files.erase("a.ko24");
    files.erase("logfile");
    return files;
  }

  /// Expects each result to be whole, or the earlier one and a message; in place, and where a
  /// message says so, its first lines. No other file. Returns how many are not whole.
  std::size_t expect_order(const Ended& end, const TemporaryFolder& folder, bool in_place) const {
    const auto left = results(folder);
    std::size_t n_files = 0;
    std::size_t n_lost = 0;
    for (const auto& [name, all] : whole) {
      SCOPED_TRACE(name);
      const auto begins = [&all = all](const std::string& lines) {
        return all.starts_with(lines) && (lines.empty() || lines.ends_with('\n'));
      };
      const std::string& found = left.at(name);
      const auto kept = left.find(name + ".unfinished");
      EXPECT_EQ(kept != left.end(), says(end, "WARNING: " + name + " is not whole, its lines so"));
      EXPECT_TRUE(kept == left.end() || begins(kept->second));
      EXPECT_TRUE(found == all || found == earlier || (in_place && begins(found)));
      EXPECT_TRUE(found == all || gave_up(end) || says(end, "Can't open " + name + "\n") ||
                  says(end, "Can't write " + name + "\n"));
      n_lost += found != all ? 1 : 0;
      n_files += kept != left.end() ? 2 : 1;
    }
    EXPECT_EQ(left.size(), n_files);
    return n_lost;
  }

  TemporaryFolder inputs;
  std::map<std::string, std::string> whole;  ///< results of the undisturbed run
  std::string output;                        ///< its standard output
};

TEST_F(faults, of_calls) {
  // Options, and calls that fail: with the number of the walk as {0} and its successor as {1}. The
  // errors: 1 and 13 not allowed, 5 of the disk, 12 no memory, 24 too many files, 28 no room, 95
  // not supported.
  using Row = std::pair<std::string, std::string>;
  const std::string named = " open_nameless:1:999:95";
  const std::string no_draft = named + " open_draft:1:999:13";
  const Row table[] = {
      {all_but_vaz, "write:{0}:{0}:28"},
      {all_but_vaz, "write:{0}:999:28"},
      {all_but_vaz, "write:{1}:{1}:28 short_write:{0}:{0}:0"},
      {all_but_vaz, "write:{1}:{1}:28 short_write:{0}:{0}:0 ftruncate:1:99:5"},
      {all_but_vaz, "open_nameless:{0}:999:24 open:1:999:24 open_draft:1:999:24"},
      {all_but_vaz, "close:{0}:{0}:5"},
      {all_but_vaz, "linkat:{0}:999:13"},
      {all_but_vaz, "rename:{0}:{0}:13"},
      {all_but_vaz, "rename:{0}:999:13"},
      {all_but_vaz, "fchmod:{0}:{0}:1"},
      {all_but_vaz, "write:{0}:{0}:28" + named},
      {all_but_vaz, "open:{0}:{0}:13" + no_draft},
      {all_but_vaz, "ftruncate:{0}:{0}:5" + no_draft},
      {all_but_vaz, "write:{1}:{1}:28 short_write:{0}:{0}:0" + no_draft},
      {all_but_vaz, "malloc:{0}:{0}:12"},
      {all_but_vaz, "malloc:{0}:99999:12"},
      {"-g0", "fread:{0}:{0}:5"},
      {"-g0 --comment --vortex", "write:{0}:{0}:28"},
      {picture, "fwrite:{0}:{0}:28"},
      {picture, "fflush:{0}:{0}:28"},
      {picture, "fclose:{0}:{0}:28"},
      {picture, "fwrite:{0}:{0}:28" + no_draft},
      {picture, "malloc:{0}:{0}:12"},
      {picture + " --stdout", "fwrite:{0}:{0}:28"},
      {picture + " --stdout", "fflush:{0}:{0}:28"},
  };
  record(600);
  for (const auto& [options, calls] : table) {
    learn(options);
    const bool in_place = calls.ends_with(no_draft) || calls.starts_with("fchmod");
    bool failed = true;
    int n = 1;
    for (; failed; n += 1 + n / rounds(12)) {
      const std::string failing = fmt::format(fmt::runtime(calls), n, n + 1);
      SCOPED_TRACE(fmt::format("{}   {}", options, failing));
      const TemporaryFolder folder;
      prepare(folder);
      const std::string note = inputs / "failed";
      const Ended end = support::run_program(
          folder.path(), words(options),
          fmt::format("export LD_PRELOAD='{}' TAVRIK_FAULTS='{}' TAVRIK_FAULTS_NOTE='{}'",
                      TAVRIK_FAULTS_MODULE, failing, note));
      failed = std::filesystem::remove(note);
      if (failed && failing.starts_with("fread")) {
        EXPECT_TRUE(end.status != 0 && end.error.find("a.ko24") != std::string::npos) << end.error;
      }
      expect_order(end, folder, in_place);
      if (end.signal == 0) {
        EXPECT_EQ(end.status, gave_up(end) || says(end, "Can't ") ? 1 : 0) << end.error;
        EXPECT_TRUE(end.output == output || says(end, "Can't write standard output\n"));
        EXPECT_TRUE(says(end, "No log") || folder.read("logfile").ends_with(" a.ko24\n"));
      } else {
        EXPECT_EQ(end.signal, SIGABRT);
        EXPECT_TRUE(failing.starts_with("malloc") || failing.starts_with("fread")) << end.error;
        EXPECT_TRUE(says(end, "Error: ") && !says(end, "terminate")) << end.error;
      }
    }
    EXPECT_GT(n, 2) << calls << " never fails";
  }
}

TEST_F(faults, at_random_moments) {
  const std::string options = all_but_vaz + " -s8";
  const int signals[] = {SIGKILL, SIGTERM, SIGKILL, SIGINT, SIGKILL, SIGHUP};
  record(300);
  const auto start = std::chrono::steady_clock::now();
  learn(options);
  const std::chrono::duration<double> length = std::chrono::steady_clock::now() - start;
  std::mt19937 random(1);
  for (int round = 0; round < rounds(24); ++round) {
    const auto delay = length * std::uniform_real_distribution<>(0, 1.2)(random);
    const int signal = signals[round % std::size(signals)];
    SCOPED_TRACE(fmt::format("round {}, signal {} after {} s", round, signal, delay.count()));
    const TemporaryFolder folder;
    prepare(folder);
    ProgramRun run(folder.path(), words(options));
    std::this_thread::sleep_for(delay);
    run.send(signal);
    const Ended end = run.wait();
    const std::size_t n_lost = expect_order(end, folder, false);
    EXPECT_TRUE(end.signal == signal || (end.status == 0 && n_lost == 0)) << end.signal;
    EXPECT_TRUE(signal == SIGKILL || n_lost == 0 || n_lost == whole.size()) << n_lost;
  }
}

TEST_F(faults, of_two_runs_side_by_side) {
  record(300);
  learn("-g0 -s64");
  const auto other = whole;
  learn("-g0 -s32");
  for (int round = 0; round < rounds(5); ++round) {
    const TemporaryFolder folder;
    prepare(folder);
    ProgramRun run(folder.path(), words("-g0 -s64"));
    EXPECT_EQ(support::run_program(folder.path(), words("-g0 -s32")).status + run.wait().status, 0);
    for (const auto& [name, lines] : results(folder)) {
      EXPECT_TRUE(lines == whole.at(name) || lines == other.at(name)) << name;
    }
  }
}

}  // namespace
