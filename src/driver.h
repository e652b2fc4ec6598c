#pragma once

// The run of the program from its arguments to its exit status.

namespace tavrik {

/// Runs the program; argv as main has it. Returns the exit status: 0, or 1 when a result file or a
/// picture could not be written whole. Other ends of the run leave through `end_process` or an
/// exception.
int run(int argc, char** argv);

}  // namespace tavrik
