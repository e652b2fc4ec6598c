// Planning and running the transform.

#include "src/spectrum.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <exception>
#include <gsl/narrow>
#include <new>

/// FFTW ends the process itself, with a message about its sources, where an allocation of its own
/// fails: by calling this, which a program may have instead of the library's. Nothing else is
/// checked in this way.
extern "C" [[noreturn]] void fftw_assertion_failed(const char* /*condition*/, int /*line*/,
                                                   const char* /*file*/) {
  std::terminate();  // without an error: for want of memory
}

namespace tavrik {

namespace {

constexpr int n_channels = 3;

template <class Number>
TransformBuffer<Number> allocate(std::size_t size) {
  void* memory = fftw_malloc(size * sizeof(Number));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return TransformBuffer<Number>(static_cast<Number*>(memory));
}

double squared_magnitude(const fftw_complex& bin) {
  return bin[0] * bin[0] + bin[1] * bin[1];
}

/// The least 2^k or 3 * 2^k, k > 0, that is not below `least` (at least 3): quick to transform.
std::size_t quick_size(std::size_t least) {
  const std::size_t power = std::bit_ceil(least);
  return least <= power / 4 * 3 ? power / 4 * 3 : power;
}

}  // namespace

Spectrum::Spectrum(std::size_t size)
    : size_(size),
      in_(allocate<fftw_complex>(n_channels * size)),
      out_(allocate<fftw_complex>(n_channels * size)) {
  // One plan for the whole run and all three channels, which stand one after the other (stride 1,
  // distance n). FFTW_ESTIMATE chooses without measuring: measured plans, and with them the last
  // digits of results, could differ from run to run.
  const int n = gsl::narrow<int>(size);
  plan_ = fftw_plan_many_dft(1, &n, n_channels, in_.get(), nullptr, 1, n, out_.get(), nullptr, 1, n,
                             FFTW_FORWARD, FFTW_ESTIMATE);
  if (plan_ == nullptr) {
    throw std::bad_alloc();
  }
  // The imaginary parts stay zero for good: a transform that is not in place leaves its input
  // alone.
  std::memset(in_.get(), 0, n_channels * size * sizeof(fftw_complex));
}

Spectrum::~Spectrum() {
  fftw_destroy_plan(plan_);
  in_.reset();
  out_.reset();
  fftw_cleanup();
}

void Spectrum::transform() {
  fftw_execute(plan_);
}

void Spectrum::average_magnitudes(std::span<double> average) const {
  for (std::size_t k = 0; k < average.size(); ++k) {
    double sum = 0;
    for (std::size_t c = 0; c < n_channels; ++c) {
      sum += std::sqrt(squared_magnitude(bin(c, k)));
    }
    average[k] = sum / n_channels;
  }
  average[0] = 0;
}

void Spectrum::channel_powers(std::size_t channel, std::span<double> powers) const {
  for (std::size_t k = 0; k < powers.size(); ++k) {
    powers[k] = squared_magnitude(bin(channel, k + 1));
  }
}

// Transforms go round in a circle: lag L also gets the products of lag `padded_` - L, of which
// there are none from lag `size` on.
QuickAutocorrelation::QuickAutocorrelation(std::size_t size)
    : size_(size),
      padded_(quick_size(size + (size + 1) / 2)),
      signal_(allocate<double>(padded_)),
      spectrum_(allocate<fftw_complex>(padded_ / 2 + 1)),
      sums_(allocate<double>(padded_)) {
  const int n = gsl::narrow<int>(padded_);
  forward_ = fftw_plan_dft_r2c_1d(n, signal_.get(), spectrum_.get(), FFTW_ESTIMATE);
  back_ = fftw_plan_dft_c2r_1d(n, spectrum_.get(), sums_.get(), FFTW_ESTIMATE);
  if (forward_ == nullptr || back_ == nullptr) {
    throw std::bad_alloc();
  }
  std::fill_n(signal_.get(), padded_, 0.0);
}

QuickAutocorrelation::~QuickAutocorrelation() {
  fftw_destroy_plan(forward_);
  fftw_destroy_plan(back_);
}

std::span<const double> QuickAutocorrelation::compute(std::span<const double> samples) {
  std::copy(samples.begin(), samples.end(), signal_.get());
  fftw_execute(forward_);
  for (std::size_t k = 0; k <= padded_ / 2; ++k) {
    spectrum_[k][0] = squared_magnitude(spectrum_[k]);
    spectrum_[k][1] = 0;
  }
  fftw_execute(back_);
  const std::size_t last = size_ / 2 + 1;
  if (padded_ - last < size_) {  // the one product of the first sample and the last
    sums_[last] -= static_cast<double>(padded_) * samples.front() * samples.back();
  }
  return {sums_.get(), last + 1};
}

}  // namespace tavrik
