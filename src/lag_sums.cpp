// Sums of products over lags, vectorised across the lags: every lane adds up one lag, in the order
// of the samples. Vectors along the samples would add in another order for each width, and rounding
// would make the results depend on the processor.

#include "src/lag_sums.h"

#include <algorithm>

namespace tavrik {

namespace {

/// Lags that one pass adds up: enough for the usual 33 lags in a single pass.
constexpr std::ptrdiff_t tile_lags = 40;

/// Adds up `tile_lags` neighbouring lags, sums[k] = sum over i of a[i] * b[i + k]. b: the second
/// signal at the first of the lags. lanes: doubles in one vector; the compiler turns a vector that
/// the machine lacks into parts.
/// For one i the products for neighbouring lags are a[i] times neighbouring values of b: one load,
/// one product and one addition for each vector. The sums stay in registers for the whole pass.
template <std::size_t lanes>
[[gnu::always_inline]] inline void sum_tile(const double* a, const double* b, std::size_t size,
                                            double* sums) {
  typedef double Vector __attribute__((vector_size(lanes * sizeof(double)), aligned(8), may_alias));
  constexpr std::size_t vectors = tile_lags / lanes;
  Vector total[vectors] = {};
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t v = 0; v < vectors; ++v) {
      total[v] += a[i] * *reinterpret_cast<const Vector*>(b + i + v * lanes);
    }
  }
  for (std::size_t v = 0; v < vectors; ++v) {
    *reinterpret_cast<Vector*>(sums + v * lanes) = total[v];
  }
}

using SumTile = void (*)(const double* a, const double* b, std::size_t size, double* sums);

#if defined(__x86_64__)
[[gnu::target("avx512f")]] void sum_tile_avx512(const double* a, const double* b, std::size_t size,
                                                double* sums) {
  sum_tile<8>(a, b, size, sums);
}

[[gnu::target("avx2")]] void sum_tile_avx2(const double* a, const double* b, std::size_t size,
                                           double* sums) {
  sum_tile<4>(a, b, size, sums);
}
#endif

void sum_tile_portable(const double* a, const double* b, std::size_t size, double* sums) {
  sum_tile<2>(a, b, size, sums);
}

/// Covers the lags by tiles. Lags out of reach keep their 0: the signals do not overlap there, and
/// the padding ends. The last tile may go on past the lags that are asked for; what it sums there
/// is dropped.
template <SumTile sum_tile_here>
void lag_sums_by(const PaddedSignal& a, const PaddedSignal& b, std::ptrdiff_t first_lag,
                 std::span<double> sums) {
  std::fill(sums.begin(), sums.end(), 0.0);
  const std::size_t size = a.samples().size();
  const auto reach = static_cast<std::ptrdiff_t>(b.reach());
  const std::ptrdiff_t end =
      std::min(first_lag + static_cast<std::ptrdiff_t>(sums.size()), reach + 1);
  double tile[tile_lags];
  for (std::ptrdiff_t lag = std::max(first_lag, -reach); lag < end; lag += tile_lags) {
    sum_tile_here(a.samples().data(), b.samples().data() + lag, size, tile);
    std::copy_n(tile, std::min(tile_lags, end - lag), sums.begin() + (lag - first_lag));
  }
}

const LagSums best_lag_sums = usable_lag_sums().front();

}  // namespace

void PaddedSignal::resize(std::size_t size, std::size_t max_lag) {
  size_ = size;
  reach_ = std::min(max_lag, size - std::min<std::size_t>(size, 1));
  // The last pass may begin at the last lag and reads a whole tile from there.
  storage_.assign(reach_ + size_ + reach_ + tile_lags, 0.0);
}

std::vector<LagSums> usable_lag_sums() {
  std::vector<LagSums> usable;
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) {
    usable.push_back(lag_sums_by<sum_tile_avx512>);
  }
  if (__builtin_cpu_supports("avx2")) {
    usable.push_back(lag_sums_by<sum_tile_avx2>);
  }
#endif
  usable.push_back(lag_sums_by<sum_tile_portable>);
  return usable;
}

void lag_sums(const PaddedSignal& a, const PaddedSignal& b, std::ptrdiff_t first_lag,
              std::span<double> sums) {
  best_lag_sums(a, b, first_lag, sums);
}

}  // namespace tavrik
