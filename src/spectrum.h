#pragma once
// The transforms of a window: plans and their buffers, made once for a run. Used by the analysis
// and by the autocorrelation.

#include <complex>
#include <cstddef>
#include <fftw3.h>
#include <memory>
#include <span>
#include <vector>

namespace tavrik {

struct FreeBuffer {
  void operator()(void* buffer) const { fftw_free(buffer); }
};

/// Memory as the transforms want it.
template <class Number>
using TransformBuffer = std::unique_ptr<Number[], FreeBuffer>;

/// Forward transform of a window's three channels at once: X[k] = sum over i of x[i] exp(-2 pi j i
/// k / size). Bin k is the frequency k / size times the sampling frequency.
class Spectrum {
 public:
  /// size: samples in a window, at least 1. Throws std::bad_alloc.
  explicit Spectrum(std::size_t size);
  Spectrum(const Spectrum&) = delete;
  Spectrum& operator=(const Spectrum&) = delete;
  ~Spectrum();

  /// The input of one channel (0..2), to be filled: sample i, in counts, at 2 * i. The places
  /// between are zero and must stay so.
  double* input(std::size_t channel) { return in_[channel * size_]; }

  /// Transforms the input, all channels of which must have been filled. What the two functions
  /// below give is undefined before.
  void transform();

  /// Averages the channels' magnitudes of the first average.size() bins (1 to `size`). Bin 0 is set
  /// to 0: the mean is no part of the spectrum's shape.
  void average_magnitudes(std::span<double> average) const;

  /// Squared magnitudes of one channel's bins 1 to powers.size(), below `size`.
  void channel_powers(std::size_t channel, std::span<double> powers) const;

 private:
  const fftw_complex& bin(std::size_t channel, std::size_t k) const {
    return out_[channel * size_ + k];
  }

  std::size_t size_;
  TransformBuffer<fftw_complex> in_;
  TransformBuffer<fftw_complex> out_;
  fftw_plan plan_;
};

/// The autocorrelation of a real signal by way of its power spectrum: much cheaper than sums over
/// the lags, but with the transforms' rounding, less than 1e-12 of the value at lag 0. It goes
/// before a Spectrum that is there as well: that one's end cleans up after all transforms.
class QuickAutocorrelation {
 public:
  /// size: samples of the signal, at least 8. Throws std::bad_alloc.
  explicit QuickAutocorrelation(std::size_t size);
  QuickAutocorrelation(const QuickAutocorrelation&) = delete;
  QuickAutocorrelation& operator=(const QuickAutocorrelation&) = delete;
  ~QuickAutocorrelation();

  /// Sums of samples[i] * samples[i + L] for the lags L from 0 to size / 2 + 1, all times one
  /// factor above 0. Good until the next call.
  std::span<const double> compute(std::span<const double> samples);

 private:
  std::size_t n_lags_;
  std::size_t bins_;  ///< of a transform that takes two neighbouring samples for one complex number
  TransformBuffer<fftw_complex> signal_;  ///< zeros after the samples keep the ends apart
  TransformBuffer<fftw_complex> spectrum_;
  TransformBuffer<fftw_complex> sums_;
  std::vector<std::complex<double>> turns_;  ///< exp(2 pi j k / bins), k up to bins / 2
  fftw_plan forward_;
  fftw_plan back_;
};

}  // namespace tavrik
