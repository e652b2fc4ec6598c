// Correlation series and their peaks.

#include "src/correlation.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "src/window_kernel.h"

namespace tavrik {

namespace {

/// Index of the value of exactly 1.0 nearest to the high end; series.size() if no value is 1.0.
/// No tolerance is needed, nor would one do: `divide_by_peak` makes the highest value exactly 1.0,
/// and another that is only close to it is no peak.
std::size_t find_peak(std::span<const double> series) {
  // Compared as bits, which leaves out the question whether a value is a NaN.
  constexpr auto one = std::bit_cast<std::uint64_t>(1.0);
  std::size_t next = series.size();
  while (next > 0) {
    --next;
    if (std::bit_cast<std::uint64_t>(series[next]) == one) {
      return next;
    }
  }
  return series.size();
}

}  // namespace

void set_maxdelay(Correlation& correlation, std::size_t max_lag) {
  const std::size_t size = 2 * max_lag + 1;
  correlation.max_lag = max_lag;
  correlation.sums.resize(size);
  for (PairSeries* series : {&correlation.crs, &correlation.crn, &correlation.crs_norm}) {
    for (std::vector<double>& pair : *series) {
      pair.resize(size);
    }
  }
  correlation.divisors.resize(size);
  for (std::size_t k = 0; k < size; ++k) {
    const double lag = std::fabs(static_cast<double>(k) - static_cast<double>(max_lag));
    correlation.divisors[k] = (0.1 * lag + 4.0) * static_cast<double>(2 * max_lag);
  }
}

void correlate_weighted(std::span<const double> sums, std::span<const double> divisors,
                        std::span<double> out) {
  window_kernel.divide(sums, divisors, out);
}

void correlate_normalised(std::span<const double> sums, double energy_a, double energy_b,
                          std::span<double> out) {
  window_kernel.divide_by_one(sums, std::sqrt(energy_a * energy_b), out);
}

double divide_by_peak(std::span<const double> crs, std::span<double> crs_norm) {
  const double peak = window_kernel.highest(crs);
  if (peak == 0) {
    std::fill(crs_norm.begin(), crs_norm.end(), 0.0);
  } else {
    // A division: the product with 1 / peak need not give an exact 1.0.
    window_kernel.divide_by_one(crs, peak, crs_norm);
  }
  return peak;
}

void find_lags(const PairSeries& crs_norm, const PairSeries& crs,
               std::array<double, 3>& value_at_lag, Lags& lags, std::size_t max_lag) {
  for (std::size_t p = 0; p < lags.size(); ++p) {
    const std::vector<double>& v = crs_norm[p];
    const std::size_t j = find_peak(v);
    const double peak_lag = static_cast<double>(j) - static_cast<double>(max_lag);
    if (j == v.size()) {
      lags[p] = 0;
      value_at_lag[p] = 0;
    } else if (j == 0 || j == 2 * max_lag) {
      lags[p] = peak_lag;
    } else {
      // The parabola through (-1, v[j-1]), (0, v[j]), (1, v[j+1]) is v[j] + b x + a x^2 with
      // b = (v[j+1] - v[j-1]) / 2 and a = (v[j+1] + v[j-1] - 2 v[j]) / 2. Its top, where the
      // derivative b + 2 a x is 0, is at x = -b / (2 a).
      const double two_b = v[j + 1] - v[j - 1];
      const double two_a = v[j + 1] + v[j - 1] - 2 * v[j];
      lags[p] =
          static_cast<double>(j) - two_b * 0.5 * 0.5 / (two_a * 0.5) - static_cast<double>(max_lag);
      value_at_lag[p] = crs[p][j];
    }
  }
}

std::array<double, 3> peak_coefficients(const Correlation& correlation,
                                        const std::array<double, 3>& squares) {
  std::array<double, 3> coefficients;
  for (std::size_t p = 0; p < coefficients.size(); ++p) {
    const std::size_t j = find_peak(correlation.crs_norm[p]);
    const auto [a, b] = pair_channels[p];
    coefficients[p] =
        j == correlation.divisors.size()
            ? std::numeric_limits<double>::quiet_NaN()
            : correlation.crs[p][j] * correlation.divisors[j] / std::sqrt(squares[a] * squares[b]);
  }
  return coefficients;
}

Line line_fit(std::span<const double> y) {
  // The normal equations: sum_y = intercept n + slope sum_x and
  // sum_xy = intercept sum_x + slope sum_xx, solved for the slope by elimination.
  const auto n = static_cast<double>(y.size());
  double sum_x = 0, sum_y = 0, sum_xy = 0, sum_xx = 0;
  for (std::size_t k = 0; k < y.size(); ++k) {
    const auto x = static_cast<double>(k + 1);
    sum_x += x;
    sum_y += y[k];
    sum_xy += x * y[k];
    sum_xx += x * x;
  }
  const double slope = (n * sum_xy - sum_x * sum_y) / (n * sum_xx - sum_x * sum_x);
  return {(sum_y - slope * sum_x) / n, slope};
}

}  // namespace tavrik
