// Measures the analysis of one synthetic day (three channels, 18 Hz, windows of 128 samples every
// 64) as a whole, and its stages by themselves. Items are windows; it reports and asserts nothing.

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <malloc.h>
#include <string>
#include <vector>

#include "bench/day.h"
#include "graphics/mode.h"
#include "graphics/png.h"
#include "korla/korla_base.h"

#include "src/analysis.h"
#include "src/correlation.h"
#include "src/direction.h"
#include "src/geometry.h"
#include "src/plot_surface.h"
#include "src/result_plot.h"
#include "src/results.h"
#include "src/settings.h"
#include "src/spectrum.h"
#include "src/statistics.h"
#include "src/window_kernel.h"

namespace {

constexpr std::size_t length = 128;
constexpr std::size_t max_lag = 16;
constexpr double frequency = 18.0;

using bench::day;
using recording::Format;

void use_day_settings() {
  tavrik::settings = {};
  tavrik::settings.quiet = true;
  tavrik::settings.graphics_mode = 0;
  tavrik::settings.cstep = 64;
  tavrik::settings.write_az = true;
  tavrik::array_geometry.baselines = tavrik::compute_geometry(tavrik::array_geometry.pos);
}

void count_windows(benchmark::State& state, std::size_t per_iteration) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(per_iteration));
}

void whole_day(benchmark::State& state) {
  use_day_settings();
  const std::string path = day().path(Format::ko24_1);
  tavrik::ResultSeries series;
  for (auto _ : state) {
    series.records.clear();
    tavrik::analyse({path}, series);
  }
  count_windows(state, series.records.size());
}

void reading(benchmark::State& state) {
  const std::string path = day().path(Format::ko24_1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(KorLa::open_series(path, 0.0, true));
  }
  count_windows(state, (day().size() - length - 1) / 64 + 1);
}

void transform(benchmark::State& state) {
  tavrik::Spectrum spectrum(length);
  std::array<double, 8> magnitudes{};
  for (auto _ : state) {
    for (std::size_t c = 0; c < 3; ++c) {
      for (std::size_t i = 0; i < length; ++i) {
        spectrum.input(c)[2 * i] = day().channel(c)[i];
      }
    }
    spectrum.transform();
    spectrum.average_magnitudes(magnitudes);
    benchmark::DoNotOptimize(tavrik::line_fit(magnitudes));
  }
  count_windows(state, 1);
}

void correlation(benchmark::State& state) {
  use_day_settings();
  std::array<tavrik::PaddedSignal, 3> window;
  for (std::size_t c = 0; c < window.size(); ++c) {
    window[c].resize(length, max_lag);
    std::copy_n(day().channel(c), length, window[c].samples().begin());
  }
  tavrik::Correlation work;
  tavrik::set_maxdelay(work, max_lag);
  tavrik::Lags lags{};
  std::array<double, 3> values{};
  for (auto _ : state) {
    for (std::size_t p = 0; p < 3; ++p) {
      const auto [a, b] = tavrik::pair_channels[p];
      tavrik::window_kernel.lag_sums(window[a], window[b], -static_cast<std::ptrdiff_t>(max_lag),
                                     work.sums);
      tavrik::correlate_weighted(work.sums, work.divisors, work.crs[p]);
      tavrik::correlate_normalised(work.sums, 128.0, 128.0, work.crn[p]);
      tavrik::divide_by_peak(work.crs[p], work.crs_norm[p]);
    }
    tavrik::find_lags(work.crs_norm, work.crs, values, lags, max_lag);
    benchmark::DoNotOptimize(lags);
  }
  count_windows(state, 1);
}

constexpr std::size_t long_window = 512;  // what --entropy asks for

void spectral_entropy(benchmark::State& state) {
  std::vector<double> powers(long_window / 2);
  for (std::size_t k = 0; k < powers.size(); ++k) {
    powers[k] = std::pow(day().channel(0)[k], 2);
  }
  for (auto _ : state) {
    for (int c = 0; c < 3; ++c) {
      benchmark::DoNotOptimize(tavrik::spectral_statistics(powers, 0.035));
    }
  }
  count_windows(state, 1);
}

void autocorrelation(benchmark::State& state) {
  tavrik::Autocorrelation autocorrelation(long_window);
  std::vector<double> samples(day().channel(0), day().channel(0) + long_window);
  for (auto _ : state) {
    for (int c = 0; c < 3; ++c) {
      benchmark::DoNotOptimize(autocorrelation.measure(samples, 18));
    }
  }
  count_windows(state, 1);
}

void direction(benchmark::State& state) {
  use_day_settings();
  tavrik::ResultRecord record;
  for (auto _ : state) {
    tavrik::Lags lags = {1.25, -2.5, -3.75};
    tavrik::angle_new(record, lags, tavrik::array_geometry, frequency);
    benchmark::DoNotOptimize(record);
  }
  count_windows(state, 1);
}

void writing(benchmark::State& state) {
  use_day_settings();
  tavrik::open_result_files({day().path(Format::ko24_1), "test", 0.0});
  tavrik::ResultRecord record;
  tavrik::Lags lags = {1.25, -2.5, -3.75};
  tavrik::angle_new(record, lags, tavrik::array_geometry, frequency);
  record.time = 1456812000.125;
  const tavrik::WindowValues values = {{201.5, 187.25, 222.75}, {0.81, 0.79, 0.88}, lags};
  const tavrik::PairSeries crs;  // not written: the day's settings ask for no crn file
  for (auto _ : state) {
    tavrik::write_window(record, values, crs, frequency);
  }
  tavrik::finish_result_files();
  count_windows(state, 1);
}

/// Draws the day's complete plot and saves it.
void picture(benchmark::State& state) {
  use_day_settings();
  tavrik::ResultSeries series;
  tavrik::analyse({day().path(Format::ko24_1)}, series);
  tavrik::settings.memory = true;
  tavrik::settings.title = "day";
  tavrik::graphics_init(4);
  tavrik::resize_memory_canvas(static_cast<int>(series.records.size()) + 200);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::tmpfile(), std::fclose);
  for (auto _ : state) {
    tavrik::draw_result_plot(series, tavrik::settings, tavrik::display_state,
                             tavrik::BeyondEdge::nothing);
    std::rewind(stream.get());
    benchmark::DoNotOptimize(gr::save_png(gr::graphics.canvas, gr::graphics.palette, stream.get()));
  }
  tavrik::graphics_end(4);
  count_windows(state, series.records.size());
}

BENCHMARK(whole_day)->Unit(benchmark::kMillisecond);
BENCHMARK(reading)->Unit(benchmark::kMillisecond);
BENCHMARK(correlation);
BENCHMARK(transform);
BENCHMARK(spectral_entropy);
BENCHMARK(autocorrelation);
BENCHMARK(direction);
BENCHMARK(writing);
BENCHMARK(picture)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  // Every large buffer is fresh memory, as in a run of the program, not what the last loop left.
  mallopt(M_MMAP_THRESHOLD, 128 * 1024);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
