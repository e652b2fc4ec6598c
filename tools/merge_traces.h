#pragma once
// Joining of the traces of a channel, from records and files in any order.

#include <vector>

#include "tools/trace.h"

namespace traces {

/// A channel's pieces in the order of their times, each after a gap. All have the same frequency.
struct Channel {
  std::vector<Trace> pieces;
};

/// Joins all traces of a channel, whose samples it takes. What overlaps and agrees is there once.
/// Throws std::runtime_error, which names a file, where a trace is not sound, where there is more
/// than one frequency, and where samples of one time differ or lie more than `largest_shift` beside
/// one another.
Channel merge_channel(std::vector<Trace>& traces, const Name& name);

}  // namespace traces
