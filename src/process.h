#pragma once

// What a process needs around the run: standard streams that exist, and an abnormal end that says
// why and loses no result line.

namespace tavrik {

/// To be called first thing in main. Opens missing standard streams, so that no result file takes
/// their place; makes a closed pipe, and a file that may not grow, a failed write instead of a
/// silent end; and has the lines of open result files kept and the error told, once, whatever way
/// the process ends.
void guard_process();

}  // namespace tavrik
