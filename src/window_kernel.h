#pragma once
// The innermost loops of the program: what is done with every sample of a window. One set of them
// for each instruction set; all give the same bytes. Used by the analysis and the autocorrelation.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tavrik {

/// One value for each channel.
using PerChannel = std::array<double, 3>;

/// A signal with zeros on both sides, so that sums over lags need no test for its ends.
class PaddedSignal {
 public:
  /// Makes room and sets all to zero. size: samples of the signal; max_lag: lags on each side that
  /// sums will ask for. At lags of `size` and more two signals no longer overlap, so that the
  /// padding stops there, however large max_lag is.
  void resize(std::size_t size, std::size_t max_lag);

  /// The signal's samples; what lies around them stays zero. Good until the next `resize`.
  std::span<double> samples() { return {storage_.data() + reach_, size_}; }

  std::span<const double> samples() const { return {storage_.data() + reach_, size_}; }

  /// Lags on each side that the padding covers: the lesser of max_lag and size - 1.
  std::size_t reach() const { return reach_; }

 private:
  std::size_t size_ = 0;
  std::size_t reach_ = 0;
  std::vector<double> storage_;
};

/// The channels of a window, one after the other.
using Channels = std::array<PaddedSignal, 3>;

/// The samples of a window's three channels side by side: channel c of sample i at 4 * i + c, and a
/// zero in the fourth place. One addition of four lanes then serves all channels, and adds up each
/// in the order of its samples.
using Frames = std::vector<double>;

/// Sums over the samples of each channel.
struct FrameSums {
  PerChannel plain{};
  PerChannel absolute{};
};

/// The loops for one instruction set.
struct WindowKernel {
  /// Fills frames from raw samples, and the real parts at inputs[c][2 * i] as well.
  void (*load)(const std::array<const std::int32_t*, 3>& raw, const std::array<double*, 3>& inputs,
               Frames& frames);

  FrameSums (*sum)(const Frames& frames);

  /// Sums of squared deviations from the given means.
  PerChannel (*sum_squares)(const Frames& frames, const PerChannel& mean);

  /// Subtracts each channel's mean and divides by its scale. Returns the sums of what comes out.
  PerChannel (*normalise)(Frames& frames, const PerChannel& mean, const PerChannel& scale);

  /// Copies frames to channels of as many samples.
  void (*separate)(const Frames& frames, Channels& channels);

  /// sums[k] = sum over i of a[i] * b[i + L], L = first_lag + k, where both indices lie in the
  /// signals; an empty sum is 0. The order of summation is that of i.
  /// a and b: of one size, and made for a max_lag of at least every |L| asked for; may be one
  /// object.
  void (*lag_sums)(const PaddedSignal& a, const PaddedSignal& b, std::ptrdiff_t first_lag,
                   std::span<double> sums);

  /// out[k] = values[k] / divisors[k], all of one size.
  void (*divide)(std::span<const double> values, std::span<const double> divisors,
                 std::span<double> out);

  /// out[k] = values[k] / divisor, both of one size.
  void (*divide_by_one)(std::span<const double> values, double divisor, std::span<double> out);

  /// The highest of at least one value, none of which is NaN.
  double (*highest)(std::span<const double> values);
};

/// The kernels that this machine can run. The first has the widest vectors.
std::vector<WindowKernel> usable_kernels();

/// The one that is used.
extern const WindowKernel window_kernel;

}  // namespace tavrik
