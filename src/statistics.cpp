// Spectral entropy, autocorrelation, passages.

#include "src/statistics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <utility>

namespace tavrik {

namespace {

/// Windows in the shortest passage: three steps one way are rarely an accident.
constexpr std::size_t n_windows_least = 4;

/// The least turn of a passage, degrees: a steady source wavers by less.
constexpr double least_turn = 10;

/// Smoothed samples without their mean. At either end the weights of the two samples that are there
/// are scaled to add up to 1.
void smooth(std::span<const double> x, std::span<double> out) {
  const std::size_t last = x.size() - 1;
  out[0] = (2 * x[0] + x[1]) / 3;
  for (std::size_t i = 1; i < last; ++i) {
    out[i] = 0.25 * x[i - 1] + 0.5 * x[i] + 0.25 * x[i + 1];
  }
  out[last] = (x[last - 1] + 2 * x[last]) / 3;
  const double mean = std::accumulate(out.begin(), out.end(), 0.0) / static_cast<double>(x.size());
  for (double& value : out) {
    value -= mean;
  }
}

/// Where the parabola through (0, y0), (1, y1), (2, y2) with y0 > 0 >= y1 first is 0.
/// It is y0 + b x + a x^2, with zeros at 2 y0 / (-b -+ root). The larger divisor gives the smaller
/// zero; in this form it also serves a straight line, a = 0, where the usual one divides by 0.
double parabola_zero(double y0, double y1, double y2) {
  const double a = (y2 - 2 * y1 + y0) / 2;
  const double b = y1 - y0 - a;
  return 2 * y0 / (-b + std::sqrt(std::max(0.0, b * b - 4 * a * y0)));
}

/// Top of a parabola.
struct Top {
  double offset, value;
};

/// The top of the parabola through (-1, y0), (0, y1), (1, y2), where y1 is above one of its
/// neighbours and below neither. It is y1 + slope x + curvature x^2 / 2, whose derivative is 0 at
/// x = -slope / curvature; there it has the value y1 + slope x / 2.
Top parabola_top(double y0, double y1, double y2) {
  const double slope = (y2 - y0) / 2;
  const double curvature = y0 - 2 * y1 + y2;
  const double offset = -slope / curvature;
  return {offset, y1 + slope * offset / 2};
}

/// Whether r has a maximum at a lag, by more than `slack` on either side if that is above 0, by
/// less than -slack otherwise.
bool has_maximum(std::span<const double> r, std::size_t lag, double slack) {
  return r[lag] >= r[lag - 1] + slack && r[lag] > r[lag + 1] + slack;
}

/// r: at the lags from 0. The last serves the parabola of the one before it; nothing is looked for
/// there.
AutocorrelationPlaces find_places(std::span<const double> r) {
  const auto zero = std::find_if(r.begin(), r.end() - 1, [](double v) { return v <= 0; });
  AutocorrelationPlaces places{static_cast<std::size_t>(zero - r.begin()), 0};
  double highest = 0;
  for (std::size_t lag = places.zero + 1; lag + 1 < r.size(); ++lag) {
    if (r[lag] > highest && has_maximum(r, lag, 0)) {
      highest = r[lag];
      places.maximum = lag;
    }
  }
  return places;
}

/// Whether values that differ from those of r by less than half the slack have the same places.
bool are_certain(const AutocorrelationPlaces& places, std::span<const double> r, double slack) {
  const auto [zero, maximum] = places;
  if (*std::min_element(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(zero)) <= slack) {
    return false;
  }
  if (zero + 1 == r.size()) {
    return true;
  }
  if (r[zero] >= -slack || (maximum > 0 && !has_maximum(r, maximum, slack))) {
    return false;
  }
  const double highest = maximum > 0 ? r[maximum] : 0;
  for (std::size_t lag = zero + 1; lag + 1 < r.size(); ++lag) {
    if (r[lag] >= highest - slack && lag != maximum && has_maximum(r, lag, -slack)) {
      return false;
    }
  }
  return maximum == 0 || highest > slack;
}

/// The autocorrelation, not yet divided, at lag 0 and at two lags and their neighbours. As
/// everywhere, each sum goes in the order of the samples.
std::array<double, 7> sums_around(const PaddedSignal& signal, std::size_t one, std::size_t other) {
  const std::span<const double> samples = signal.samples();
  const double* x = samples.data();
  std::array<double, 7> sums{};
  for (std::size_t i = 0; i < samples.size(); ++i) {
    sums[0] += x[i] * x[i];
    for (std::size_t k = 0; k < 3; ++k) {
      sums[1 + k] += x[i] * x[i + one - 1 + k];
      sums[4 + k] += x[i] * x[i + other - 1 + k];
    }
  }
  return sums;
}

/// A step of the azimuth the shorter way round: -180 to 180 degrees, clockwise above 0. NaN for a
/// NaN.
double fold(double step) {
  return std::remainder(step, 360.0);
}

/// The sense of a folded step: 1 clockwise, -1 counter-clockwise. 0 for a step too small to tell,
/// for one of 180 degrees, which goes either way, and for a NaN.
int sense(double step) {
  constexpr double least = 1e-6;  // what the az file writes; smaller steps can't be seen in it
  const double turn = std::fabs(step);
  if (!(turn >= least && turn < 180)) {
    return 0;
  }
  return step > 0 ? 1 : -1;
}

/// The middle value, of an even number the mean of the middle two; 0 of none.
double median(std::vector<double> values) {
  if (values.empty()) {
    return 0;
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) {
    return *middle;
  }
  return (*std::max_element(values.begin(), middle) + *middle) / 2;
}

/// Whether a window follows the one before it without a hole.
bool follows(const ResultRecord& before, const ResultRecord& record, double longest_step) {
  const double passed = record.time - before.time;
  return passed > 0 && passed <= longest_step;
}

/// The turn that a passage must exceed: what steps of the usual size add up to by chance.
double usual_turn(std::span<const ResultRecord> records, double longest_step) {
  std::vector<double> steps;
  for (std::size_t i = 1; i < records.size(); ++i) {
    const double step = std::fabs(fold(records[i].az - records[i - 1].az));
    if (follows(records[i - 1], records[i], longest_step) && !std::isnan(step)) {
      steps.push_back(step);
    }
  }
  constexpr double usual_steps = 3;  // those of the shortest passage
  return usual_steps * median(std::move(steps));
}

Passage summarise(std::span<const ResultRecord> run) {
  Passage passage;
  passage.start = run.front().time;
  passage.duration = run.back().time - run.front().time;
  passage.first_az = run.front().az;
  passage.last_az = run.back().az;
  for (std::size_t i = 0; i < run.size(); ++i) {
    passage.turn += i > 0 ? fold(run[i].az - run[i - 1].az) : 0;
    passage.vel2 += run[i].vel2;
    passage.quality += run[i].quality;
  }
  passage.rate = passage.turn / passage.duration;
  passage.vel2 /= static_cast<double>(run.size());
  passage.quality /= static_cast<double>(run.size());
  return passage;
}

}  // namespace

SpectralStatistics spectral_statistics(std::span<const double> power, double bin_width) {
  SpectralStatistics result;
  double total = 0;
  double most = 0;
  std::size_t highest = 0;
  for (std::size_t i = 0; i < power.size(); ++i) {
    total += power[i];
    if (power[i] > most) {
      most = power[i];
      highest = i;
    }
  }
  if (!(total > 0)) {
    return result;
  }
  double sum = 0;
  double mean_bin = 0;
  for (std::size_t i = 0; i < power.size(); ++i) {
    // A share of 0 adds nothing: p log p goes to 0 with p.
    const double share = power[i] / total;
    sum -= share > 0 ? share * std::log(share) : 0;
    mean_bin += share * static_cast<double>(i + 1);
  }
  result.entropy = sum / std::log(static_cast<double>(power.size()));
  result.peak_frequency = static_cast<double>(highest + 1) * bin_width;
  result.centroid = mean_bin * bin_width;
  return result;
}

Autocorrelation::Autocorrelation(std::size_t size) : quick_(size), r_(size / 2 + 2) {
  smoothed_.resize(size, r_.size() - 1);
}

AutocorrelationPlaces Autocorrelation::look_for_places(std::span<const double> quick) {
  // Both ways to form the sums differ by less than 1e-12 of the value at lag 0.
  const double slack = 1e-9 * quick[0];
  const AutocorrelationPlaces places = find_places(quick);
  if (are_certain(places, quick, slack)) {
    return places;
  }
  window_kernel.lag_sums(smoothed_, smoothed_, 0, r_);
  const double energy = r_[0];
  for (double& value : r_) {
    value /= energy;
  }
  return find_places(r_);
}

AutocorrelationStatistics Autocorrelation::measure(std::span<const double> samples,
                                                   double frequency) {
  AutocorrelationStatistics result;
  smooth(samples, smoothed_.samples());
  const std::span<const double> quick = quick_.compute(smoothed_.samples());
  if (!(quick[0] > 0)) {
    return result;
  }
  const auto [zero, maximum] = look_for_places(quick);
  const bool has_zero = zero + 1 < quick.size();
  const auto [energy, z0, z1, z2, m0, m1, m2] =
      sums_around(smoothed_, has_zero ? zero : 1, std::max<std::size_t>(maximum, 1));
  // The smoothed channel has no mean, so that the energy is the sum of its squared deviations.
  result.variance = energy / static_cast<double>(samples.size() - 1);
  if (has_zero) {
    result.zero_lag =
        (static_cast<double>(zero - 1) + parabola_zero(z0 / energy, z1 / energy, z2 / energy)) /
        frequency;
  }
  if (maximum > 0) {
    const Top top = parabola_top(m0 / energy, m1 / energy, m2 / energy);
    result.period = (static_cast<double>(maximum) + top.offset) / frequency;
    result.period_value = top.value;
  }
  return result;
}

std::vector<Passage> find_passages(std::span<const ResultRecord> records, double longest_step,
                                   double level) {
  const double usual = usual_turn(records, longest_step);
  std::vector<Passage> passages;
  std::size_t first = 0;  // of the present run
  int run_sense = 0;
  const auto end_run = [&](std::size_t last) {
    if (run_sense != 0 && last + 1 - first >= n_windows_least) {
      const Passage passage = summarise(records.subspan(first, last + 1 - first));
      const double turn = std::fabs(passage.turn);
      if (turn >= least_turn && turn > usual) {
        passages.push_back(passage);
      }
    }
  };
  for (std::size_t i = 1; i < records.size(); ++i) {
    const ResultRecord& before = records[i - 1];
    const ResultRecord& record = records[i];
    const bool connected =
        follows(before, record, longest_step) && before.quality >= level && record.quality >= level;
    const int step = connected ? sense(fold(record.az - before.az)) : 0;
    if (step != run_sense) {
      // The window before the new step ends the old run and begins the new one.
      end_run(i - 1);
      first = i - 1;
      run_sense = step;
    }
  }
  if (!records.empty()) {
    end_run(records.size() - 1);
  }
  return passages;
}

}  // namespace tavrik
