#pragma once
// The times at which three channels all have samples.

#include <array>
#include <vector>

#include "tools/merge_traces.h"

namespace traces {

using ThreeChannels = std::array<Channel, 3>;

/// Samples that three channels have at the same times.
struct Span {
  std::array<const Trace*, 3> pieces;
  std::array<std::size_t, 3> first;  ///< sample of each piece
  std::array<double, 3> shift;       ///< in samples, by which each is later than the first channel
  std::size_t count = 0;             ///< of samples, at least one
};

/// All spans, in the order of their times: more than one where a channel has a gap. They point into
/// the channels. Throws std::runtime_error, which names a file, where the frequencies differ, the
/// samples of the channels lie more than `largest_shift` beside one another, or no time is common.
std::vector<Span> common_spans(const ThreeChannels& channels);

/// The gap before a span that is not the first: which channel lacks how much from when.
struct Gap {
  const Trace* before;
  const Trace* after;
};

Gap gap_between(const Span& span, const Span& next);

}  // namespace traces
