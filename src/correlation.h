#pragma once
// Correlation of the three channel pairs over a range of lags, and the lags of their peaks. Used by
// the analysis. docs/method.md says what the weighted series is good for.

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace tavrik {

/// The channels of the pairs 12, 13, 23.
inline constexpr std::array<std::array<std::size_t, 2>, 3> pair_channels = {
    {{0, 1}, {0, 2}, {1, 2}}};

/// Arrival differences of the pairs 12, 13, 23 in samples, fractional; positive when the sound
/// reaches the pair's first microphone first.
using Lags = std::array<double, 3>;

/// One series of 2 * max_lag + 1 values, index lag + max_lag, for each of the pairs 12, 13, 23.
using PairSeries = std::array<std::vector<double>, 3>;

/// The per-lag arrays of a run's windows: sized by `set_maxdelay`, written anew in every window.
struct Correlation {
  std::size_t max_lag = 0;
  std::vector<double> divisors;  ///< of the weighted series, one for each lag
  std::vector<double> sums;      ///< of products, of the pair that was correlated last
  PairSeries crs;                ///< weighted series
  PairSeries crn;                ///< series normalised by the signals' energy
  PairSeries crs_norm;           ///< weighted series divided by its highest value
};

/// Resizes the per-lag arrays for lags from -max_lag to max_lag (1..65535) and works out the
/// divisors, (0.1 * |lag| + 4) * 2 * max_lag: they favour small lags, which is intended.
void set_maxdelay(Correlation& correlation, std::size_t max_lag);

/// out[k] = sums[k] / divisors[k]: the weighted series of a pair. All of one size.
void correlate_weighted(std::span<const double> sums, std::span<const double> divisors,
                        std::span<double> out);

/// out[k] = sums[k] / sqrt(energy_a * energy_b): the normalised series of a pair. The energies are
/// sums of squared deviations from the mean; the sums are not freed of the mean (intended). A
/// constant signal has energy 0 and gives NaN or infinite values. sums and out: of one size.
void correlate_normalised(std::span<const double> sums, double energy_a, double energy_b,
                          std::span<double> out);

/// Divides a weighted series by its highest value, so that its peak is exactly 1; a highest value
/// of 0 gives zeros. Both of one size, not empty. Returns the highest value.
double divide_by_peak(std::span<const double> crs, std::span<double> crs_norm);

/// Lag of the peak of each pair, in samples, by a parabola through the peak and its neighbours.
/// The peak is the value of exactly 1.0 at the largest lag; at either end of the range the lag is
/// that end and value_at_lag stays as it was; a series without a peak, as a constant channel gives,
/// has lag 0 and value 0. Otherwise value_at_lag is the weighted series' value at the peak.
/// The series hold 2 * max_lag + 1 values each.
void find_lags(const PairSeries& crs_norm, const PairSeries& crs,
               std::array<double, 3>& value_at_lag, Lags& lags, std::size_t max_lag);

/// The correlation coefficients of the pairs at the peaks that find_lags finds: the sum of products
/// there divided by sqrt(sum a^2 * sum b^2), so at most 1. squares: sum of squares of each channel
/// as it was correlated. NaN for a pair without a peak.
std::array<double, 3> peak_coefficients(const Correlation& correlation,
                                        const std::array<double, 3>& squares);

/// A straight line, y = intercept + slope * x.
struct Line {
  double intercept, slope;
};

/// The line through (1, y[0]) .. (n, y[n-1]) by least squares. A single point gives NaN.
Line line_fit(std::span<const double> y);

}  // namespace tavrik
