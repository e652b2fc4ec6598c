#pragma once
// One analysis window's result, and the series of them that the analysis fills and the plots read.

#include <vector>

namespace tavrik {

/// Pairs are always in the order 12, 13, 23.
struct ResultRecord {
  double az = 0;       ///< where the sound comes from, degrees clockwise from north, 0..360
  double vel = 0;      ///< apparent velocity by the angle method, m/s (`old`: see direction.h)
  double quality = 0;  ///< cprod * amp
  double vel2 = 0;     ///< d12 * fs / sqrt(lag12^2 + lag13^2), m/s
  double cmax12 = 0;   ///< highest weighted correlation of each pair
  double cmax13 = 0;
  double cmax23 = 0;
  double cmax = 0;                            ///< highest of the three
  double slope = 0;                           ///< of the line through the spectrum's first bins
  double time = 0;                            ///< of the window, seconds since 1970 UTC
  double amp = 0;                             ///< mean absolute amplitude of the channels, counts
  double cprod = 0;                           ///< product of the correlations at the lags
  double ent0 = 0, ent1 = 0, ent2 = 0;        ///< entropy of each channel; 0 unless computed
  double b12_13 = 0, b12_23 = 0, b13_23 = 0;  ///< numerators of the direction estimate
  double a12_13 = 0, a12_23 = 0, a13_23 = 0;  ///< its denominators, never exactly 0
  double v12 = 0, v13 = 0, v23 = 0;           ///< velocity by each pair, m/s
  double p12 = 0, p13 = 0, p23 = 0;           ///< baselines projected on the direction, m
};

static_assert(sizeof(ResultRecord) == 27 * sizeof(double));

/// The windows of one run in the order of their samples; in time order but where files overlap.
struct ResultSeries {
  double sampling_frequency = -1.0;  ///< of the data, Hz; negative before the first run
  std::vector<ResultRecord> records;
};

}  // namespace tavrik
