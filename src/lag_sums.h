#pragma once
// The innermost loop of the program: sums of products of two signals over a range of lags. Used by
// the correlation of pairs and by the autocorrelation.

#include <cstddef>
#include <span>
#include <vector>

namespace tavrik {

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

/// sums[k] = sum over i of a[i] * b[i + L], L = first_lag + k, where both indices lie in the
/// signals; an empty sum is 0. The order of summation is that of i, and every instruction set gives
/// the same bytes.
/// a and b: of one size, and made for a max_lag of at least every |L| asked for; may be one object.
void lag_sums(const PaddedSignal& a, const PaddedSignal& b, std::ptrdiff_t first_lag,
              std::span<double> sums);

/// A variant of `lag_sums` for one instruction set.
using LagSums = void (*)(const PaddedSignal& a, const PaddedSignal& b, std::ptrdiff_t first_lag,
                         std::span<double> sums);

/// The variants that this machine can run. The first has the widest vectors: `lag_sums` uses it.
std::vector<LagSums> usable_lag_sums();

}  // namespace tavrik
