// The checks of a run and their warnings.

#include "src/run_checks.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "src/console.h"
#include "src/settings.h"

namespace tavrik {

namespace {

bool other_station(const JoinedFile& a, const JoinedFile& b) {
  return std::string_view(a.station) != b.station;
}

bool other_channels(const JoinedFile& a, const JoinedFile& b) {
  return a.n_channels != b.n_channels;
}

/// How far a microphone of one file stands from that of the other, at most; metres.
double displacement(const JoinedFile& a, const JoinedFile& b) {
  double most = 0;
  for (std::size_t k = 0; k < a.positions.size(); ++k) {
    const Point& p = a.positions[k];
    const Point& q = b.positions[k];
    most = std::max(most, std::hypot(p.x - q.x, p.y - q.y));
  }
  return most;
}

bool other_positions(const JoinedFile& a, const JoinedFile& b) {
  constexpr double tolerance = 0.001;
  return displacement(a, b) > tolerance;
}

/// Whether the next file differs from the first one in what a comparison looks at, and not just as
/// the file before it does: a hundred files of another array are one finding.
bool is_new(std::span<const JoinedFile> joined, const JoinedFile& next,
            bool (*differ)(const JoinedFile&, const JoinedFile&)) {
  return differ(joined.front(), next) &&
         (!differ(joined.front(), joined.back()) || differ(joined.back(), next));
}

/// A line between two microphones.
struct Side {
  int from, to;
  double length;
};

std::array<Side, 3> sides_of(const Baselines& base) {
  return {{{1, 2, base.d12}, {1, 3, base.d13}, {2, 3, base.d23}}};
}

bool shorter(const Side& a, const Side& b) {
  return a.length < b.length;
}

/// Warns of two microphones in one place, else of a side that looks like degrees and not metres.
/// Returns whether no direction can come of it.
bool check_shortest_side(const std::string& path, const Baselines& base) {
  const auto sides = sides_of(base);
  const Side side = *std::min_element(sides.begin(), sides.end(), shorter);
  if (side.length == 0) {
    warn("WARNING: {}: microphones {} and {} are in one place, azimuths mean nothing\n", path,
         side.from, side.to);
    return true;
  }
  constexpr double least = 1.0;
  if (side.length < least) {
    warn("WARNING: {}: microphones {} and {} are {:.3g} m apart: are the positions in metres?\n",
         path, side.from, side.to, side.length);
  }
  return false;
}

}  // namespace

void check_same_array(std::span<const JoinedFile> joined, const JoinedFile& next) {
  const JoinedFile& first = joined.front();
  if (is_new(joined, next, other_station)) {
    warn("WARNING: {}: station {}, joined to {} of station {}\n", next.path, next.station,
         first.path, first.station);
  }
  if (is_new(joined, next, other_channels)) {
    warn("WARNING: {}: {} channels, joined to {} of {} channels\n", next.path, next.n_channels,
         first.path, first.n_channels);
  }
  if (is_new(joined, next, other_positions)) {
    warn(
        "WARNING: {}: a microphone is {:.3f} m from its place in {}, the last file's places hold\n",
        next.path, displacement(first, next), first.path);
  }
}

void check_array(const std::string& path, const ArrayGeometry& array) {
  const bool fits = settings.primary_direction == Direction::lsq_method;
  // Of the angle at microphone 1; NaN if another is in its place.
  const double sine = signed_area(array.pos) / (array.baselines.d12 * array.baselines.d13);
  constexpr double nearly_straight = 0.001;
  const bool straight = !(std::fabs(sine) > nearly_straight);
  if (fits && straight) {
    const auto& [p1, p2, p3] = array.pos;
    fail("Error: {}: no direction fits microphones in a line: {},{} {},{} {},{}\n", path, p1.x,
         p1.y, p2.x, p2.y, p3.x, p3.y);
  }
  if (check_shortest_side(path, array.baselines)) {
    return;
  }
  if (straight) {
    warn("WARNING: the microphones stand in a line: directions are ambiguous\n");
  } else if (sine < 0 && !fits) {
    warn("WARNING: microphones 1, 2, 3 go clockwise: azimuths are turned by 180 degrees\n");
  }
}

void check_lags(const std::string& path, const Baselines& sides, double frequency,
                std::size_t max_lag) {
  const auto all = sides_of(sides);
  const Side side = *std::max_element(all.begin(), all.end(), shorter);
  constexpr double velocity_of_sound = 330.0;
  const double needed = side.length / velocity_of_sound * frequency;
  if (!(needed > static_cast<double>(max_lag))) {
    return;
  }
  constexpr double most = 255.0;  // that --maxdelay takes
  const std::string advice = needed <= most ? fmt::format("use --maxdelay={}", std::ceil(needed))
                                            : fmt::format("no --maxdelay up to {} will do", most);
  warn(
      "WARNING: {}: side {}{} of {:.1f} m needs {:.1f} lags at {} m/s, the range is {}, "
      "sound along it is missed: {}\n",
      path, side.from, side.to, side.length, needed, velocity_of_sound, max_lag, advice);
}

void check_level(const std::string& path, std::size_t max_lag) {
  // Two equal signals of unit variance, at lag 0.
  const double most =
      static_cast<double>(settings.clength - 1) / (8 * static_cast<double>(max_lag));
  if (settings.normalize && settings.crsfilter > most) {
    warn(
        "WARNING: {}: no correlation of {} samples with {} lags is above {:.3f}, none meets -h{}\n",
        path, settings.clength, max_lag, most, settings.crsfilter);
  }
}

void check_range() {
  if (settings.range_set && !(settings.range_t0 < settings.range_t1)) {
    warn("WARNING: the range {}-{} does not end after it begins, no window is in it\n",
         settings.range_t0, settings.range_t1);
  }
}

void check_range_met(const std::string& path, std::span<const double> times, std::size_t windows) {
  const bool can_be_met = settings.range_set && settings.range_t0 < settings.range_t1;
  if (can_be_met && windows == 0 && times.size() > settings.clength) {
    warn("WARNING: {}: no window is in the range {}-{}, the data is from {:.2f} to {:.2f}\n", path,
         settings.range_t0, settings.range_t1, times.front(), times.back());
  }
}

WindowTally::WindowTally(std::span<const JoinedFile> files, std::size_t max_lag)
    : files_(files), max_lag_(static_cast<double>(max_lag)), tallies_(files.size()) {}

void WindowTally::add(std::size_t first, const std::array<double, 3>& energy, const Lags& lags) {
  while (file_ + 1 < files_.size() && files_[file_ + 1].begin <= first) {
    ++file_;
  }
  FileTally& tally = tallies_[file_];
  ++tally.windows;
  ++windows_;
  for (std::size_t k = 0; k < energy.size(); ++k) {
    tally.constant[k] += energy[k] == 0 ? 1U : 0U;
    at_the_end_[k] += std::fabs(lags[k]) == max_lag_ ? 1U : 0U;
  }
}

void WindowTally::tell() const {
  for (std::size_t f = 0; f < files_.size(); ++f) {
    const FileTally& tally = tallies_[f];
    for (std::size_t c = 0; c < tally.constant.size(); ++c) {
      if (tally.constant[c] > 0) {
        warn("WARNING: {}: channel {} is constant in {} of {} windows: azimuths mean nothing\n",
             files_[f].path, c + 1, tally.constant[c], tally.windows);
      }
    }
  }
  const auto most = std::max_element(at_the_end_.begin(), at_the_end_.end());
  if (2 * *most > windows_) {
    const auto [a, b] = pair_channels[static_cast<std::size_t>(most - at_the_end_.begin())];
    warn(
        "WARNING: {}: the lag of pair {}{} is at the end of its range, {}, in {} of {} windows: "
        "--maxdelay may be too small\n",
        files_.front().path, a + 1, b + 1, max_lag_, *most, windows_);
  }
}

}  // namespace tavrik
