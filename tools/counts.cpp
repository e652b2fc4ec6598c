// Scales and counts.

#include "tools/counts.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <span>
#include <stdexcept>

namespace traces {

namespace {

constexpr double most_counts = (1 << 23) - 1;
constexpr double least_counts = -(1 << 23);

bool has_room(double count) {
  return count >= least_counts && count <= most_counts;
}

std::span<const double> samples_of(const Span& span, std::size_t channel) {
  return std::span(span.pieces.at(channel)->samples).subspan(span.first.at(channel), span.count);
}

template <class Check>
bool all_samples(const std::vector<Span>& spans, Check check) {
  return std::ranges::all_of(spans, [&check](const Span& span) {
    return std::ranges::all_of(samples_of(span, 0), check) &&
           std::ranges::all_of(samples_of(span, 1), check) &&
           std::ranges::all_of(samples_of(span, 2), check);
  });
}

std::vector<std::int32_t> to_counts(const Span& span, std::size_t channel, double scale) {
  std::vector<std::int32_t> counts;
  counts.reserve(span.count);
  for (const double sample : samples_of(span, channel)) {
    const double count = std::round(sample * scale);
    if (!has_room(count)) {
      throw std::runtime_error(fmt::format("{}: a sample of {} gives {} counts, more than 24 bits",
                                           span.pieces.at(channel)->file, sample, count));
    }
    counts.push_back(static_cast<std::int32_t>(count));
  }
  return counts;
}

}  // namespace

double choose_scale(const std::vector<Span>& spans) {
  const bool whole = all_samples(
      spans, [](double sample) { return std::trunc(sample) == sample && has_room(sample); });
  if (whole) {
    return 1.0;
  }
  double largest = 0.0;
  all_samples(spans, [&largest](double sample) {
    largest = std::max(largest, std::fabs(sample));
    return true;
  });
  // Beyond these no unit is meant, and a power would be no number.
  const double exponent = std::clamp(std::floor(std::log10(most_counts / largest)), -300.0, 300.0);
  return std::pow(10.0, exponent);
}

std::array<std::vector<std::int32_t>, 3> to_counts(const Span& span, double scale) {
  return {to_counts(span, 0, scale), to_counts(span, 1, scale), to_counts(span, 2, scale)};
}

}  // namespace traces
