// Pieces that continue or overlap one another become one.

#include "tools/merge_traces.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace traces {

namespace {

[[noreturn]] void refuse(const Trace& trace, const std::string& why) {
  throw std::runtime_error(fmt::format("{}: {} {}", trace.file, text_of(trace.name), why));
}

void require_same_frequency(const Trace& first, const Trace& next) {
  if (std::fabs(next.frequency / first.frequency - 1.0) > same_frequency) {
    refuse(next, fmt::format("has {} samples per second, but {} in {}", next.frequency,
                             first.frequency, first.file));
  }
}

/// Where in a piece a trace begins that overlaps or continues it.
std::size_t place_in(const Trace& piece, const Trace& next) {
  const double exact = samples_until(piece, next.start);
  const double place = std::round(exact);
  if (std::fabs(exact - place) > largest_shift) {
    refuse(next, fmt::format("begins at {} and {:.3f} samples beside those of {}, more than {}",
                             time_text(next.start), exact - place, piece.file, largest_shift));
  }
  return static_cast<std::size_t>(place);
}

/// Adds what a piece lacks. Where both have samples they agree.
void extend(Trace& piece, const Trace& next) {
  const std::size_t place = place_in(piece, next);
  const std::size_t shared = std::min(piece.samples.size() - place, next.samples.size());
  const auto rest = next.samples.begin() + static_cast<std::ptrdiff_t>(shared);
  const auto known = piece.samples.begin() + static_cast<std::ptrdiff_t>(place);
  const auto differing = std::mismatch(next.samples.begin(), rest, known).first;
  if (differing != rest) {
    const auto index = static_cast<std::size_t>(differing - next.samples.begin());
    refuse(next, fmt::format("at {} is {}, but {} in {}", time_text(time_of(next, index)),
                             *differing, piece.samples[place + index], piece.file));
  }
  piece.samples.insert(piece.samples.end(), rest, next.samples.end());
}

/// Whether a trace, which does not begin earlier, leaves no room for a sample after a piece.
bool touches(const Trace& piece, const Trace& next) {
  return std::round(samples_until(piece, next.start)) <= static_cast<double>(piece.samples.size());
}

std::vector<Trace*> in_order_of_time(std::vector<Trace>& traces, const Name& name) {
  std::vector<Trace*> sorted;
  for (Trace& trace : traces) {
    if (trace.name == name) {
      sorted.push_back(&trace);
    }
  }
  std::ranges::stable_sort(sorted, {}, &Trace::start);
  return sorted;
}

}  // namespace

Channel merge_channel(std::vector<Trace>& traces, const Name& name) {
  Channel channel;
  std::vector<Trace>& pieces = channel.pieces;
  for (Trace* trace : in_order_of_time(traces, name)) {
    require_sound(*trace);
    if (!pieces.empty()) {
      require_same_frequency(pieces.front(), *trace);
    }
    if (!pieces.empty() && touches(pieces.back(), *trace)) {
      extend(pieces.back(), *trace);
    } else {
      pieces.push_back(std::move(*trace));
    }
  }
  return channel;
}

}  // namespace traces
