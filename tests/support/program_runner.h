#pragma once
// Runs of the real program, in a folder of the test's choice.

#include <string>
#include <sys/types.h>
#include <vector>

namespace support {

/// What a standard stream of the program is.
enum class Stream {
  kept,      ///< output and error are collected, input is empty
  closed,    ///< there is none
  broken,    ///< a pipe that nobody reads
  terminal,  ///< collected from a terminal, with its line ends "\r\n"
};

struct Streams {
  Stream input = Stream::kept;
  Stream output = Stream::kept;
  Stream error = Stream::kept;
};

/// How a run has ended.
struct Ended {
  int status = -1;  ///< exit status; -1 after a signal
  int signal = 0;   ///< that ended it; 0 for none
  std::string output;
  std::string error;
};

/// A run that goes on while this is alive.
class ProgramRun {
 public:
  ProgramRun(const std::string& folder, const std::vector<std::string>& arguments,
             const Streams& streams = {});
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;
  ~ProgramRun();

  void send(int signal) const;

  /// Waits for the end. A run that takes longer than a minute is ended, and fails the test.
  Ended wait();

 private:
  /// Takes the descriptor for one of the program's streams; -1 for a closed one.
  int prepare(Stream stream, int number);

  pid_t child_ = -1;
  int collected_[3] = {-1, -1, -1};
};

/// Starts a run and waits for its end.
Ended run_program(const std::string& folder, const std::vector<std::string>& arguments,
                  const Streams& streams = {});

}  // namespace support
