// Planning and running the transform.

#include "src/spectrum.h"

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

fftw_complex* allocate(std::size_t size) {
  void* memory = fftw_malloc(n_channels * size * sizeof(fftw_complex));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return static_cast<fftw_complex*>(memory);
}

double squared_magnitude(const fftw_complex& bin) {
  return bin[0] * bin[0] + bin[1] * bin[1];
}

}  // namespace

Spectrum::Spectrum(std::size_t size) : size_(size), in_(allocate(size)), out_(allocate(size)) {
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

}  // namespace tavrik
