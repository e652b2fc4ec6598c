#pragma once
// The optional statistics: spectral entropy and autocorrelation of a window's channels, and
// passages of steady turning in a finished series. Used by the analysis; nothing here is called
// unless its option is given.

#include <cstddef>
#include <span>
#include <vector>

#include "src/result_record.h"
#include "src/spectrum.h"
#include "src/window_kernel.h"

namespace tavrik {

/// What --entropy finds in one channel of a window.
struct SpectralStatistics {
  double entropy = 0;         ///< 0 for a single bin to 1 for a flat spectrum
  double peak_frequency = 0;  ///< of the bin with the highest power, the lowest of equals, Hz
  double centroid = 0;        ///< mean frequency, weighted with power, Hz
};

/// Entropy and main frequencies of a channel without its mean.
/// power: squared magnitudes of the transform's bins from one above zero up to, at most, the
/// Nyquist frequency. bin_width: from bin to bin, Hz. The entropy is Shannon's, -sum p log p / log
/// K over the K bins, of each bin's share p of the power (Powell and Percival, "A spectral entropy
/// method for distinguishing regular and irregular motion of Hamiltonian systems", J. Phys. A 12,
/// 1979). Noise of a single window does not reach the 1 of a flat spectrum: its bins scatter, which
/// costs 0.42 / log K, about 0.08. All three are 0 where there is no power at all.
SpectralStatistics spectral_statistics(std::span<const double> power, double bin_width);

/// What --acr finds in one channel of a window.
struct AutocorrelationStatistics {
  double variance = 0;      ///< of the smoothed channel, counts squared
  double zero_lag = 0;      ///< where the autocorrelation first is 0, seconds; 0 if nowhere
  double period = 0;        ///< lag of its highest maximum after that, seconds; 0 without one
  double period_value = 0;  ///< the autocorrelation there, above 0 and at most about 1
};

/// Where an autocorrelation is looked at closely.
struct AutocorrelationPlaces {
  std::size_t zero;     ///< the first lag whose value is 0 or less; the range's last if none is
  std::size_t maximum;  ///< after it, of the highest maximum that is above 0; 0 without one
};

/// The autocorrelation of a channel: r(L) = sum x[i] x[i + L] / sum x[i]^2, of lags from 0 to half
/// a window, so that a period was heard twice (the biased estimator of Box and Jenkins, "Time
/// Series Analysis"). One object serves a whole run; its memory is taken when it is made.
/// What is found is what the sums over all lags give, to the last bit, but few of them are formed:
/// a quick autocorrelation tells where to look. Where its rounding leaves a doubt, all are formed.
class Autocorrelation {
 public:
  /// size: samples in a window, at least 8.
  explicit Autocorrelation(std::size_t size);

  /// Smooths a copy of a channel with the weights 1/4, 1/2, 1/4, at either end 2/3 and 1/3, frees
  /// it of its mean, and measures it. Places between lags are those of a parabola through three
  /// values of r. A constant channel gives zeros. samples: `size` of them; frequency: of sampling,
  /// Hz.
  AutocorrelationStatistics measure(std::span<const double> samples, double frequency);

 private:
  AutocorrelationPlaces look_for_places(std::span<const double> quick);

  PaddedSignal smoothed_;
  QuickAutocorrelation quick_;
  std::vector<double> r_;  ///< of lags from 0 to one more than the last that counts
};

/// A passage in which the direction turned steadily, as that of the noise of an eddy does that the
/// wind carries past the array.
struct Passage {
  double start = 0;     ///< time of its first window, seconds since 1970 UTC
  double duration = 0;  ///< from its first window to its last, seconds
  double first_az = 0;  ///< degrees
  double last_az = 0;
  double turn = 0;     ///< sum of all steps, degrees, above 0 clockwise; may exceed 360
  double rate = 0;     ///< turn / duration, degrees per second
  double vel2 = 0;     ///< mean, m/s
  double quality = 0;  ///< mean
};

/// Finds the passages of a series: the longest runs of at least 4 windows, each of at least the
/// level's quality, in which every step of the azimuth, folded into -180 to 180 degrees, goes the
/// same way. A step of 180 degrees or of less than the 1e-6 that is written ends a run, and so does
/// a hole in the data: a window that begins more than longest_step seconds after the one before, or
/// not after it. Where the sense changes, the window at the turning point belongs to both runs.
/// Runs of the small steps that any source shows are none: a passage turns by at least 10 degrees,
/// and by more than three times the median of the series' absolute steps between windows without a
/// hole between them, whatever their quality. This is this program's own definition.
std::vector<Passage> find_passages(std::span<const ResultRecord> records, double longest_step,
                                   double level);

}  // namespace tavrik
