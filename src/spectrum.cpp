// Planning and running the transform.

#include "src/spectrum.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <exception>
#include <gsl/narrow>
#include <new>
#include <numbers>

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

/// Takes the bins k and -k of the transform Z = E + jO, E of a signal's even and O of its odd
/// samples, to those of S + jT, where S = |E|^2 + |O|^2 is of the sums at even lags, and T = E* O +
/// O* E w of those at odd lags. turn: w = exp(2 pi j k / bins). E* O is c - jd.
void correlate_bins(fftw_complex& z, fftw_complex& mirrored, const std::complex<double>& turn) {
  const double power = squared_magnitude(z);
  const double mirrored_power = squared_magnitude(mirrored);
  const double sum = (power + mirrored_power) / 2;
  const double c = (z[0] * mirrored[1] + z[1] * mirrored[0]) / 2;
  const double d = (power - mirrored_power) / 4;
  const double difference = d - (c * turn.imag() + d * turn.real());
  z[1] = mirrored[1] = c + c * turn.real() - d * turn.imag();
  mirrored[0] = sum - difference;
  z[0] = sum + difference;
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

// Transforms go round in a circle: lag L would also get the products of lag 2 * bins - L, of which
// there are none from lag `size` on. Complex transforms of 2^k bins are planned a hundred times as
// quickly as real ones, which would take longer than many a recording.
QuickAutocorrelation::QuickAutocorrelation(std::size_t size)
    : n_lags_(size / 2 + 2),
      bins_(std::bit_ceil(size + n_lags_) / 2),
      signal_(allocate<fftw_complex>(bins_)),
      spectrum_(allocate<fftw_complex>(bins_)),
      sums_(allocate<fftw_complex>(bins_)) {
  const int n = gsl::narrow<int>(bins_);
  forward_ = fftw_plan_dft_1d(n, signal_.get(), spectrum_.get(), FFTW_FORWARD, FFTW_ESTIMATE);
  back_ = fftw_plan_dft_1d(n, spectrum_.get(), sums_.get(), FFTW_BACKWARD, FFTW_ESTIMATE);
  if (forward_ == nullptr || back_ == nullptr) {
    throw std::bad_alloc();
  }
  std::memset(signal_.get(), 0, bins_ * sizeof(fftw_complex));
  for (std::size_t k = 0; k <= bins_ / 2; ++k) {
    const double angle = 2 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(bins_);
    turns_.emplace_back(std::cos(angle), std::sin(angle));
  }
}

QuickAutocorrelation::~QuickAutocorrelation() {
  fftw_destroy_plan(forward_);
  fftw_destroy_plan(back_);
}

std::span<const double> QuickAutocorrelation::compute(std::span<const double> samples) {
  std::copy(samples.begin(), samples.end(), &signal_[0][0]);
  fftw_execute(forward_);
  for (std::size_t k = 0; k <= bins_ / 2; ++k) {
    correlate_bins(spectrum_[k], spectrum_[(bins_ - k) % bins_], turns_[k]);
  }
  fftw_execute(back_);
  return {&sums_[0][0], n_lags_};
}

}  // namespace tavrik
