#pragma once
// Runs of the real program, in a folder of the test's choice.

#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace support {

/// How a run has ended.
struct Ended {
  int status = -1;  ///< exit status; -1 after a signal
  int signal = 0;   ///< that ended it; 0 for none
  std::string output;
  std::string error;
};

/// Takes the readers of the output away, in the commands before a run.
inline constexpr const char* break_output = "mkfifo pipe; exec 9<>pipe >pipe 9>&-";

/// A run that goes on while this is alive.
class ProgramRun {
 public:
  /// before: commands of the shell that becomes the program. It is in the folder, has no input, and
  /// its output and error are collected; what they change of that holds for the program.
  ProgramRun(const std::string& folder, const std::vector<std::string>& arguments,
             const std::string& before = ":");
  ProgramRun(const ProgramRun&) = delete;
  ProgramRun& operator=(const ProgramRun&) = delete;
  ~ProgramRun();

  void send(int signal) const;

  /// Waits for the end. A run that takes longer than ten minutes is ended, and fails the test.
  Ended wait();

 private:
  TemporaryFolder streams_;
  pid_t child_ = -1;
};

/// Starts a run and waits for its end.
Ended run_program(const std::string& folder, const std::vector<std::string>& arguments,
                  const std::string& before = ":");

}  // namespace support
