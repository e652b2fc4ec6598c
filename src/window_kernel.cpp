// The loops over the samples of a window. Sums over samples keep the order of the samples, since
// rounding would make another order another result: what is vectorised are the channels, which
// stand side by side in a frame, and the lags, each of which has a lane. Vectors along the samples
// would add in another order for each width. Loops without a sum have no order to keep.
//
// Each loop is written once, as an inline function, and compiled for each instruction set by
// kernel_for at the end. The usual 33 lags take one pass in 36 or 40 lanes.

#include "src/window_kernel.h"

#include <algorithm>
#include <cstring>

namespace tavrik {

namespace {

#define TAVRIK_INLINE [[gnu::always_inline]] inline

constexpr std::size_t lanes = 4;

/// The channels of one sample, and a zero.
typedef double Frame __attribute__((vector_size(lanes * sizeof(double))));
typedef std::int64_t FrameBits __attribute__((vector_size(lanes * sizeof(double))));

/// Loads the frame of a sample, which need not be aligned.
TAVRIK_INLINE void load_frame(const double* frames, std::size_t i, Frame& frame) {
  std::memcpy(&frame, frames + lanes * i, sizeof frame);
}

TAVRIK_INLINE PerChannel to_channels(const Frame& frame) {
  return {frame[0], frame[1], frame[2]};
}

TAVRIK_INLINE void load(const std::array<const std::int32_t*, 3>& raw,
                        const std::array<double*, 3>& inputs, Frames& frames) {
  const auto [raw0, raw1, raw2] = raw;
  const auto [in0, in1, in2] = inputs;
  double* out = frames.data();
  const std::size_t n = frames.size() / lanes;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < n; ++i) {
    out[lanes * i] = in0[2 * i] = raw0[i];
    out[lanes * i + 1] = in1[2 * i] = raw1[i];
    out[lanes * i + 2] = in2[2 * i] = raw2[i];
  }
}

TAVRIK_INLINE FrameSums sum(const Frames& frames) {
  const FrameBits magnitude = FrameBits{} + INT64_MAX;  // all bits but the sign
  const double* in = frames.data();
  Frame plain{};
  Frame absolute{};
  const std::size_t n = frames.size() / lanes;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < n; ++i) {
    Frame frame;
    load_frame(in, i, frame);
    plain += frame;
    absolute += reinterpret_cast<Frame>(reinterpret_cast<FrameBits>(frame) & magnitude);
  }
  return {to_channels(plain), to_channels(absolute)};
}

TAVRIK_INLINE PerChannel sum_squares(const Frames& frames, const PerChannel& mean) {
  const Frame means = {mean[0], mean[1], mean[2], 0};
  const double* in = frames.data();
  Frame sum{};
  const std::size_t n = frames.size() / lanes;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < n; ++i) {
    Frame frame;
    load_frame(in, i, frame);
    const Frame deviation = frame - means;
    sum += deviation * deviation;
  }
  return to_channels(sum);
}

TAVRIK_INLINE PerChannel normalise(Frames& frames, const PerChannel& mean,
                                   const PerChannel& scale) {
  const Frame means = {mean[0], mean[1], mean[2], 0};
  const Frame scales = {scale[0], scale[1], scale[2], 1};
  double* inout = frames.data();
  Frame sum{};
  const std::size_t n = frames.size() / lanes;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < n; ++i) {
    Frame value;
    load_frame(inout, i, value);
    value = (value - means) / scales;
    std::memcpy(inout + lanes * i, &value, sizeof value);
    sum += value;
  }
  return to_channels(sum);
}

TAVRIK_INLINE void separate(const Frames& frames, Channels& channels) {
  double* x0 = channels[0].samples().data();
  double* x1 = channels[1].samples().data();
  double* x2 = channels[2].samples().data();
  const double* in = frames.data();
  const std::size_t n = frames.size() / lanes;
#pragma GCC unroll 4
  for (std::size_t i = 0; i < n; ++i) {
    x0[i] = in[lanes * i];
    x1[i] = in[lanes * i + 1];
    x2[i] = in[lanes * i + 2];
  }
}

/// Most lags that one pass adds up.
constexpr std::ptrdiff_t most_tile_lags = 40;

/// Adds up neighbouring lags, sums[k] = sum over i of a[i] * b[i + k], `vectors` times `width` of
/// them. b: the second signal at the first of the lags. width: doubles in one vector; the compiler
/// turns a vector that the machine lacks into parts.
/// For one i the products for neighbouring lags are a[i] times neighbouring values of b: one load,
/// one product and one addition for each vector. The sums stay in registers for the whole pass.
template <std::size_t width, std::size_t vectors>
TAVRIK_INLINE void sum_tile(const double* a, const double* b, std::size_t size, double* sums) {
  typedef double Vector __attribute__((vector_size(width * sizeof(double)), aligned(8), may_alias));
  Vector total[vectors] = {};
#pragma GCC unroll 4
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t v = 0; v < vectors; ++v) {
      total[v] += a[i] * *reinterpret_cast<const Vector*>(b + i + v * width);
    }
  }
  for (std::size_t v = 0; v < vectors; ++v) {
    *reinterpret_cast<Vector*>(sums + v * width) = total[v];
  }
}

/// Covers the lags by tiles. Lags out of reach keep their 0: the signals do not overlap there, and
/// the padding ends. The last tile may go on past the lags that are asked for; what it sums there
/// is dropped.
template <std::size_t width, std::size_t vectors>
TAVRIK_INLINE void lag_sums(const PaddedSignal& a, const PaddedSignal& b, std::ptrdiff_t first_lag,
                            std::span<double> sums) {
  constexpr std::ptrdiff_t tile_lags = width * vectors;
  static_assert(tile_lags <= most_tile_lags);
  std::fill(sums.begin(), sums.end(), 0.0);
  const std::size_t size = a.samples().size();
  const auto reach = static_cast<std::ptrdiff_t>(b.reach());
  const std::ptrdiff_t end =
      std::min(first_lag + static_cast<std::ptrdiff_t>(sums.size()), reach + 1);
  double tile[tile_lags];
  for (std::ptrdiff_t lag = std::max(first_lag, -reach); lag < end; lag += tile_lags) {
    sum_tile<width, vectors>(a.samples().data(), b.samples().data() + lag, size, tile);
    std::copy_n(tile, std::min(tile_lags, end - lag), sums.begin() + (lag - first_lag));
  }
}

TAVRIK_INLINE void divide(std::span<const double> values, std::span<const double> divisors,
                          std::span<double> out) {
  for (std::size_t k = 0; k < out.size(); ++k) {
    out[k] = values[k] / divisors[k];
  }
}

TAVRIK_INLINE void divide_by_one(std::span<const double> values, double divisor,
                                 std::span<double> out) {
  for (std::size_t k = 0; k < out.size(); ++k) {
    out[k] = values[k] / divisor;
  }
}

TAVRIK_INLINE double highest(std::span<const double> values) {
  double best[lanes] = {values[0], values[0], values[0], values[0]};
  std::size_t k = 0;
  for (; k + lanes <= values.size(); k += lanes) {
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      best[lane] = values[k + lane] > best[lane] ? values[k + lane] : best[lane];
    }
  }
  for (; k < values.size(); ++k) {
    best[0] = std::max(best[0], values[k]);
  }
  return *std::max_element(best, best + lanes);
}

// An instruction set: what `run` calls becomes part of it, and is compiled as it is.

#if defined(__x86_64__)
struct Avx512 {
  template <typename Call>
  [[gnu::target("avx512f")]] static auto run(Call call) {
    return call();
  }
};

struct Avx2 {
  template <typename Call>
  [[gnu::target("avx2")]] static auto run(Call call) {
    return call();
  }
};
#endif

struct Portable {
  template <typename Call>
  static auto run(Call call) {
    return call();
  }
};

#define TAVRIK_INLINE_CALL __attribute__((always_inline))

/// The loops for an instruction set, with lags in `vectors` times `width` lanes.
template <typename Set, std::size_t width, std::size_t vectors>
WindowKernel kernel_for() {
  using Values = std::span<const double>;
  using Results = std::span<double>;
  WindowKernel kernel{};
  kernel.load = [](const std::array<const std::int32_t*, 3>& raw,
                   const std::array<double*, 3>& inputs, Frames& frames) {
    Set::run([&]() TAVRIK_INLINE_CALL { load(raw, inputs, frames); });
  };
  kernel.sum = [](const Frames& frames) {
    return Set::run([&]() TAVRIK_INLINE_CALL { return sum(frames); });
  };
  kernel.sum_squares = [](const Frames& frames, const PerChannel& mean) {
    return Set::run([&]() TAVRIK_INLINE_CALL { return sum_squares(frames, mean); });
  };
  kernel.normalise = [](Frames& frames, const PerChannel& mean, const PerChannel& scale) {
    return Set::run([&]() TAVRIK_INLINE_CALL { return normalise(frames, mean, scale); });
  };
  kernel.separate = [](const Frames& frames, Channels& channels) {
    Set::run([&]() TAVRIK_INLINE_CALL { separate(frames, channels); });
  };
  kernel.lag_sums = [](const PaddedSignal& a, const PaddedSignal& b, std::ptrdiff_t first_lag,
                       Results sums) {
    Set::run([&]() TAVRIK_INLINE_CALL { lag_sums<width, vectors>(a, b, first_lag, sums); });
  };
  kernel.divide = [](Values values, Values divisors, Results out) {
    Set::run([&]() TAVRIK_INLINE_CALL { divide(values, divisors, out); });
  };
  kernel.divide_by_one = [](Values values, double divisor, Results out) {
    Set::run([&]() TAVRIK_INLINE_CALL { divide_by_one(values, divisor, out); });
  };
  kernel.highest = [](Values values) {
    return Set::run([&]() TAVRIK_INLINE_CALL { return highest(values); });
  };
  return kernel;
}

}  // namespace

void PaddedSignal::resize(std::size_t size, std::size_t max_lag) {
  size_ = size;
  reach_ = std::min(max_lag, size - std::min<std::size_t>(size, 1));
  // The last pass may begin at the last lag and reads a whole tile from there.
  storage_.assign(reach_ + size_ + reach_ + most_tile_lags, 0.0);
}

std::vector<WindowKernel> usable_kernels() {
  std::vector<WindowKernel> usable;
#if defined(__x86_64__)
  if (__builtin_cpu_supports("avx512f")) {
    usable.push_back(kernel_for<Avx512, 8, 5>());
  }
  if (__builtin_cpu_supports("avx2")) {
    usable.push_back(kernel_for<Avx2, 4, 9>());
  }
#endif
  usable.push_back(kernel_for<Portable, 2, 20>());
  return usable;
}

const WindowKernel window_kernel = usable_kernels().front();

}  // namespace tavrik
