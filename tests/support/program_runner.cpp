// Starting the program, and collecting what it says.

#include "tests/support/program_runner.h"

#include <algorithm>
#include <csignal>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

constexpr unsigned longest_run = 600;  // seconds

}  // namespace

ProgramRun::ProgramRun(const std::string& folder, const std::vector<std::string>& arguments,
                       const std::string& before) {
  const std::string script =
      fmt::format("set -e; cd '{}'; exec </dev/null >'{}' 2>'{}'; ulimit -c 0; {}; exec \"$@\"",
                  folder, streams_.write("output", ""), streams_.write("error", ""), before);
  std::vector<std::string> strings = {"sh", "-c", script, "sh", TAVRIK_PROGRAM};
  strings.insert(strings.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  std::transform(strings.begin(), strings.end(), std::back_inserter(pointers),
                 [](std::string& string) { return string.data(); });
  pointers.push_back(nullptr);
  child_ = fork();
  if (child_ == 0) {
    alarm(longest_run);
    for (const int signal : {SIGINT, SIGTERM}) {
      // A test run in the background may have been told to ignore it.
      std::signal(signal, SIG_DFL);
    }
    execv("/bin/sh", pointers.data());
    _exit(127);
  }
  if (child_ < 0) {
    throw std::runtime_error("fork");
  }
}

ProgramRun::~ProgramRun() {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
}

void ProgramRun::send(int signal) const {
  kill(child_, signal);
}

Ended ProgramRun::wait() {
  int status = 0;
  EXPECT_EQ(waitpid(child_, &status, 0), child_);
  child_ = -1;
  const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  EXPECT_NE(signal, SIGALRM) << "the program does not end";
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, signal, streams_.read("output"),
          streams_.read("error")};
}

Ended run_program(const std::string& folder, const std::vector<std::string>& arguments,
                  const std::string& before) {
  return ProgramRun(folder, arguments, before).wait();
}

}  // namespace support
