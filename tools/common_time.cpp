// Aligning of channels.

#include "tools/common_time.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <optional>
#include <stdexcept>

namespace traces {

namespace {

[[noreturn]] void refuse(const Trace& trace, const std::string& why) {
  throw std::runtime_error(fmt::format("{}: {} {}", trace.file, text_of(trace.name), why));
}

/// Frequencies are the same if they do not part by more than the largest shift within a piece.
void require_same_frequency(const Trace& first, const Trace& other) {
  constexpr std::size_t least = 1000;  // few samples would allow anything
  const std::size_t count = std::max({first.samples.size(), other.samples.size(), least});
  const double drift =
      std::fabs(other.frequency / first.frequency - 1.0) * static_cast<double>(count);
  if (drift > largest_shift) {
    refuse(other, fmt::format("has {} samples per second, but {} has {}", other.frequency,
                              text_of(first.name), first.frequency));
  }
}

/// Samples, a whole number, by which a piece of each channel begins after that of the first one,
/// and what is left of them.
struct Offsets {
  std::array<double, 3> whole{};
  std::array<double, 3> rest{};
};

Offsets offsets_of(const std::array<const Trace*, 3>& pieces) {
  Offsets offsets;
  for (std::size_t c = 1; c < pieces.size(); ++c) {
    const double exact = samples_until(*pieces[0], pieces.at(c)->start);
    offsets.whole.at(c) = std::round(exact);
    offsets.rest.at(c) = exact - offsets.whole.at(c);
  }
  return offsets;
}

void require_small(const std::array<const Trace*, 3>& pieces, const std::array<double, 3>& rest) {
  const auto [least, most] = std::ranges::minmax_element(rest);
  if (*most - *least <= largest_shift) {
    return;
  }
  // The first channel's is 0: one of both is another's.
  const auto furthest = std::fabs(*most) > std::fabs(*least) ? most : least;
  const auto channel = static_cast<std::size_t>(furthest - rest.begin());
  refuse(*pieces.at(channel),
         fmt::format("is {:.3f} samples beside those of {}: the channels are up to {:.3f} apart, "
                     "more than {}",
                     *furthest, text_of(pieces[0]->name), *most - *least, largest_shift));
}

/// What three pieces have in common.
std::optional<Span> common_span(const std::array<const Trace*, 3>& pieces) {
  const Offsets offsets = offsets_of(pieces);
  const double begin = std::ranges::max(offsets.whole);
  double end = static_cast<double>(pieces[0]->samples.size());
  for (std::size_t c = 1; c < pieces.size(); ++c) {
    end = std::min(end, offsets.whole.at(c) + static_cast<double>(pieces.at(c)->samples.size()));
  }
  if (begin >= end) {
    return std::nullopt;
  }
  require_small(pieces, offsets.rest);
  Span span{.pieces = pieces,
            .first = {},
            .shift = offsets.rest,
            .count = static_cast<std::size_t>(end - begin)};
  for (std::size_t c = 0; c < pieces.size(); ++c) {
    span.first.at(c) = static_cast<std::size_t>(begin - offsets.whole.at(c));
  }
  return span;
}

std::int64_t end_of(const Trace& trace) {
  return time_of(trace, trace.samples.size());
}

}  // namespace

std::vector<Span> common_spans(const ThreeChannels& channels) {
  std::vector<Span> spans;
  std::array<std::size_t, 3> next{};
  const auto is_left = [&](std::size_t c) { return next.at(c) < channels.at(c).pieces.size(); };
  const auto piece = [&](std::size_t c) { return &channels.at(c).pieces[next.at(c)]; };
  while (is_left(0) && is_left(1) && is_left(2)) {
    const std::array<const Trace*, 3> pieces = {piece(0), piece(1), piece(2)};
    require_same_frequency(*pieces[0], *pieces[1]);
    require_same_frequency(*pieces[0], *pieces[2]);
    if (const auto span = common_span(pieces)) {
      spans.push_back(*span);
    }
    const auto earliest = std::ranges::min_element(pieces, {}, [](auto p) { return end_of(*p); });
    ++next.at(static_cast<std::size_t>(earliest - pieces.begin()));
  }
  if (spans.empty()) {
    refuse(channels[0].pieces.front(), "has no time in common with both other channels");
  }
  return spans;
}

Gap gap_between(const Span& span, const Span& next) {
  for (std::size_t c = 0; c + 1 < span.pieces.size(); ++c) {
    if (span.pieces.at(c) != next.pieces.at(c)) {
      return {span.pieces.at(c), next.pieces.at(c)};
    }
  }
  return {span.pieces.back(), next.pieces.back()};
}

}  // namespace traces
