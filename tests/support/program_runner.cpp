// Starting the program, and collecting what it says.

#include "tests/support/program_runner.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace support {

namespace {

constexpr std::chrono::seconds longest_run(60);

int require(int result, const char* what) {
  if (result < 0) {
    throw std::runtime_error(what);
  }
  return result;
}

/// A descriptor that the program does not inherit, above the standard ones.
int out_of_the_way(int descriptor) {
  const int moved = require(fcntl(descriptor, F_DUPFD_CLOEXEC, 10), "fcntl");
  close(descriptor);
  return moved;
}

int unnamed_file() {
  std::string name = testing::TempDir() + "tavrik_stream_XXXXXX";
  const int descriptor = require(mkstemp(name.data()), "mkstemp");
  unlink(name.c_str());
  return out_of_the_way(descriptor);
}

int broken_pipe() {
  std::array<int, 2> ends{};
  require(pipe(ends.data()), "pipe");
  close(ends[0]);
  return out_of_the_way(ends[1]);
}

/// In the child: everything between fork and the program.
[[noreturn]] void become_program(const std::string& folder, std::vector<char*>& arguments,
                                 const std::array<int, 3>& descriptors) {
  for (int number = 0; number < 3; ++number) {
    const int descriptor = descriptors.at(static_cast<std::size_t>(number));
    if (descriptor < 0) {
      close(number);
    } else {
      dup2(descriptor, number);
    }
  }
  for (const int signal : {SIGINT, SIGTERM}) {
    std::signal(signal,
                SIG_DFL);  // which a test run in the background may have been told to ignore
  }
  const rlimit no_core = {0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  if (chdir(folder.c_str()) == 0) {
    execv(arguments[0], arguments.data());
  }
  _exit(127);
}

/// Everything in a file from its start, or in a terminal.
std::string take_all(int descriptor) {
  std::string result;
  std::array<char, 4096> bytes{};
  lseek(descriptor, 0, SEEK_SET);
  ssize_t count = 0;
  while ((count = read(descriptor, bytes.data(), bytes.size())) > 0) {
    result.append(bytes.data(), static_cast<std::size_t>(count));
  }
  close(descriptor);
  return result;
}

}  // namespace

int ProgramRun::prepare(Stream stream, int number) {
  switch (stream) {
    case Stream::closed:
      return -1;
    case Stream::broken:
      return broken_pipe();
    case Stream::terminal: {
      const int master = out_of_the_way(require(posix_openpt(O_RDWR | O_NOCTTY), "openpt"));
      require(grantpt(master), "grantpt");
      require(unlockpt(master), "unlockpt");
      collected_[number] = master;
      return out_of_the_way(require(open(ptsname(master), O_RDWR | O_NOCTTY), "open terminal"));
    }
    default:
      collected_[number] = unnamed_file();
      return out_of_the_way(dup(collected_[number]));
  }
}

ProgramRun::ProgramRun(const std::string& folder, const std::vector<std::string>& arguments,
                       const Streams& streams) {
  std::vector<std::string> strings = {TAVRIK_PROGRAM};
  strings.insert(strings.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  std::transform(strings.begin(), strings.end(), std::back_inserter(pointers),
                 [](std::string& string) { return string.data(); });
  pointers.push_back(nullptr);

  const std::array descriptors = {prepare(streams.input, 0), prepare(streams.output, 1),
                                  prepare(streams.error, 2)};
  child_ = require(fork(), "fork");
  if (child_ == 0) {
    become_program(folder, pointers, descriptors);
  }
  for (const int descriptor : descriptors) {
    if (descriptor >= 0) {
      close(descriptor);
    }
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
  const auto deadline = std::chrono::steady_clock::now() + longest_run;
  int status = 0;
  while (waitpid(child_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "the program does not end";
      kill(child_, SIGKILL);
      waitpid(child_, &status, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  child_ = -1;
  Ended ended;
  ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  ended.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  ended.output = take_all(collected_[1]);
  ended.error = take_all(collected_[2]);
  close(collected_[0]);
  return ended;
}

Ended run_program(const std::string& folder, const std::vector<std::string>& arguments,
                  const Streams& streams) {
  return ProgramRun(folder, arguments, streams).wait();
}

}  // namespace support
