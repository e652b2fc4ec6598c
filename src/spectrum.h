#pragma once
// The transform of a window: one plan and its buffers, made once for a run. Used by the analysis.

#include <cstddef>
#include <fftw3.h>
#include <memory>
#include <span>

namespace tavrik {

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
  struct Free {
    void operator()(fftw_complex* buffer) const { fftw_free(buffer); }
  };

  using Buffer = std::unique_ptr<fftw_complex[], Free>;

  const fftw_complex& bin(std::size_t channel, std::size_t k) const {
    return out_[channel * size_ + k];
  }

  std::size_t size_;
  Buffer in_;
  Buffer out_;
  fftw_plan plan_;
};

}  // namespace tavrik
