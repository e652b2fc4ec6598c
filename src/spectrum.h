#pragma once
// The transform of a window: one plan and its buffers, made once for a run. Used by the analysis.

#include <array>
#include <cstddef>
#include <cstdint>
#include <fftw3.h>
#include <memory>
#include <span>

namespace tavrik {

/// Forward transform of a window's three channels at once.
class Spectrum {
 public:
  /// size: samples in a window.
  explicit Spectrum(std::size_t size);
  Spectrum(const Spectrum&) = delete;
  Spectrum& operator=(const Spectrum&) = delete;
  ~Spectrum();

  /// Sets one channel (0..2) of the input from `size` raw samples.
  void set_channel(std::size_t channel, const std::int32_t* raw);

  /// Transforms the input.
  void transform();

  /// Averages the channels' magnitudes of the first average.size() bins (at most `size`). Bin 0 is
  /// set to 0: the mean is no part of the spectrum's shape.
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
