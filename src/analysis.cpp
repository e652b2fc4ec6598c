// The window loop, and what happens in one window.

#include "src/analysis.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>

#include "src/console.h"
#include "src/correlation.h"
#include "src/direction.h"
#include "src/gather.h"
#include "src/geometry.h"
#include "src/progress.h"
#include "src/results.h"
#include "src/run_checks.h"
#include "src/settings.h"
#include "src/spectrum.h"
#include "src/statistics.h"
#include "src/stop_signals.h"
#include "src/window_kernel.h"

namespace tavrik {

namespace {

/// What a run keeps from window to window; all memory is taken before the first.
struct WindowWork {
  Frames frames;    ///< the window's samples, normalised in place
  Channels window;  ///< the same, one channel after the other, as the sums over lags want them
  Spectrum spectrum;
  Correlation correlation;
  std::vector<double> magnitudes;  ///< of the bins that the line is fitted to
  PerChannel energy{};             ///< sum of squared deviations from the mean
  WindowValues values;
  std::vector<double> powers;          ///< of one channel's bins, with --entropy; else empty
  std::optional<Autocorrelation> acr;  ///< with --acr
  AngleMethod angle = nullptr;
  double frequency = 0;
  double base_time = 0;  ///< see window_time

  WindowWork(std::size_t length, std::size_t max_lag, std::size_t n_bins)
      : frames(4 * length), spectrum(length), magnitudes(n_bins) {
    for (PaddedSignal& channel : window) {
      channel.resize(length, max_lag);
    }
    set_maxdelay(correlation, max_lag);
    if (settings.entropy) {
      powers.resize(length / 2);
    }
    if (settings.acr) {
      acr.emplace(length);
    }
  }
};

/// Copies the window that starts at sample `first` into the frames and the transform's input.
void load_window(WindowWork& work, const LoadedSeries& data, std::size_t first) {
  std::array<const std::int32_t*, 3> raw;
  std::array<double*, 3> inputs;
  for (std::size_t c = 0; c < raw.size(); ++c) {
    raw[c] = data.samples[c].data() + first;
    inputs[c] = work.spectrum.input(c);
  }
  window_kernel.load(raw, inputs, work.frames);
}

/// The standard deviation of a variance.
double deviation(double variance) {
  if (variance < 0) {
    warn("Roten ur ett negativt tal!\n");
  }
  return std::sqrt(variance);
}

PerChannel divided(const PerChannel& values, double divisor) {
  return {values[0] / divisor, values[1] / divisor, values[2] / divisor};
}

/// Frees the channels of their means and scales them to unit variance, so that loud and faint
/// windows, and microphones of different gain, correlate alike; a constant channel becomes zeros.
void normalise(WindowWork& work, const PerChannel& mean) {
  const auto n = static_cast<double>(settings.clength);
  PerChannel scale;
  for (std::size_t c = 0; c < scale.size(); ++c) {
    const double s = deviation(work.energy[c] / (n - 1));
    scale[c] = s > 0 ? s : 1;
  }
  const PerChannel sum = window_kernel.normalise(work.frames, mean, scale);
  // The normalised series wants the energies of what it is given.
  work.energy = window_kernel.sum_squares(work.frames, divided(sum, n));
}

/// Measures each channel's spectrum. A constant channel is left out: apart from bin 0, its
/// transform is rounding noise.
void measure_spectra(WindowWork& work, ResultRecord& record) {
  auto& spectra = work.values.spectra;
  const double bin_width = work.frequency / static_cast<double>(work.window[0].samples().size());
  for (std::size_t c = 0; c < spectra.size(); ++c) {
    work.spectrum.channel_powers(c, work.powers);
    spectra[c] =
        work.energy[c] > 0 ? spectral_statistics(work.powers, bin_width) : SpectralStatistics();
  }
  record.ent0 = spectra[0].entropy;
  record.ent1 = spectra[1].entropy;
  record.ent2 = spectra[2].entropy;
}

void measure_autocorrelation(WindowWork& work) {
  window_kernel.separate(work.frames, work.window);
  for (std::size_t c = 0; c < work.window.size(); ++c) {
    work.values.autocorrelation[c] = work.acr->measure(work.window[c].samples(), work.frequency);
  }
}

/// Measures the raw window, then normalises it unless the settings forbid.
void prepare_window(WindowWork& work, ResultRecord& record) {
  const auto n = static_cast<double>(settings.clength);
  const FrameSums sums = window_kernel.sum(work.frames);
  const PerChannel mean = divided(sums.plain, n);
  work.values.mvl = divided(sums.absolute, n);
  work.energy = window_kernel.sum_squares(work.frames, mean);
  if (!work.powers.empty()) {
    measure_spectra(work, record);
  }
  if (work.acr) {
    measure_autocorrelation(work);
  }
  if (settings.normalize) {
    normalise(work, mean);
  }
  window_kernel.separate(work.frames, work.window);
}

/// Both series of each pair come from the same sums of products, which are the costly part.
void correlate_pairs(WindowWork& work, ResultRecord& record) {
  Correlation& series = work.correlation;
  const auto first_lag = -static_cast<std::ptrdiff_t>(series.max_lag);
  std::array<double, 3> cmax;
  for (std::size_t p = 0; p < pair_channels.size(); ++p) {
    const auto [a, b] = pair_channels[p];
    window_kernel.lag_sums(work.window[a], work.window[b], first_lag, series.sums);
    correlate_weighted(series.sums, series.divisors, series.crs[p]);
    correlate_normalised(series.sums, work.energy[a], work.energy[b], series.crn[p]);
    cmax[p] = divide_by_peak(series.crs[p], series.crs_norm[p]);
  }
  record.cmax12 = cmax[0];
  record.cmax13 = cmax[1];
  record.cmax23 = cmax[2];
  record.cmax = *std::max_element(cmax.begin(), cmax.end());
}

/// The fields that are made of others. vel2 is that of the least-squares fit where that is the
/// method, so that pictures, histogram and passages are right on every array. Otherwise it is exact
/// for baselines 12 and 13 of one length at a right angle: their lags are then frequency * d12 /
/// velocity times the cosine and the sine of one angle, whose squares add up to 1.
void derive(ResultRecord& record, const WindowValues& values, double frequency) {
  const Lags& lags = values.lags;
  const auto& [m0, m1, m2] = values.mvl;
  const auto& [c12, c13, c23] = values.value_at_lag;
  record.vel2 = settings.primary_direction == Direction::lsq_method
                    ? record.vel
                    : array_geometry.baselines.d12 * frequency /
                          std::sqrt(lags[0] * lags[0] + lags[1] * lags[1]);
  record.amp = (m0 + m1 + m2) / 3;
  record.cprod = c12 * c13 * c23;
  record.quality = record.cprod * record.amp;
}

/// Time of the window that starts at sample `first`. Where the sample times do not increase, time
/// goes on from the last that did by the index of the window: the mixture is intended.
double window_time(WindowWork& work, double time, std::size_t first) {
  if (work.base_time < time) {
    work.base_time = time;
    return time;
  }
  return work.base_time + static_cast<double>(first) / work.frequency;
}

ResultRecord analyse_window(WindowWork& work, const LoadedSeries& data, std::size_t first) {
  ResultRecord record;
  load_window(work, data, first);
  work.spectrum.transform();
  work.spectrum.average_magnitudes(work.magnitudes);
  record.slope = line_fit(work.magnitudes).slope;
  prepare_window(work, record);
  correlate_pairs(work, record);
  WindowValues& values = work.values;
  const Correlation& series = work.correlation;
  find_lags(series.crs_norm, series.crs, values.value_at_lag, values.lags, series.max_lag);
  if (settings.csv) {
    values.coefficient = peak_coefficients(series, window_kernel.sum_squares(work.frames, {}));
  }
  work.angle(record, values.lags, array_geometry, work.frequency);
  derive(record, values, work.frequency);
  record.time = window_time(work, data.times[first], first);
  return record;
}

/// Says now and then how far the run is, and hands the lines so far to the system, for those who
/// read a pipe while they come.
class Watch {
 public:
  /// Returns whether the run is to go on.
  bool look(std::size_t done, std::size_t total) {
    constexpr int windows_between_looks = 256;
    if (++windows_ % windows_between_looks != 0) {
      return stop_signal() == 0;
    }
    progress_.show(done, total);
    if (Clock::now() >= next_flush_) {
      flush_result_files();
      next_flush_ = Clock::now() + std::chrono::seconds(1);
    }
    return !end_is_wanted();
  }

 private:
  using Clock = std::chrono::steady_clock;

  int windows_ = 0;
  Progress progress_{"analysing"};
  Clock::time_point next_flush_ = Clock::now() + std::chrono::seconds(1);
};

/// Walks the windows, from one start to the next by a step. The last one ends before the last
/// sample: intended. records: receives what is wanted of the windows; null if nothing is. Returns
/// whether it went to the end.
bool walk_windows(WindowWork& work, const LoadedSeries& data, WindowTally& tally,
                  std::vector<ResultRecord>* records) {
  const std::size_t n = data.times.size();
  const std::size_t length = settings.clength;
  const auto step = static_cast<std::size_t>(settings.cstep);
  const double duration = static_cast<double>(length) / work.frequency;
  Watch watch;
  for (std::size_t i = 0; i + length < n; i += step) {
    if (settings.range_set && data.times[i] < settings.range_t0) {
      continue;
    }
    if (settings.range_set && data.times[i] >= settings.range_t1) {
      break;
    }
    if (duration < data.times[i + length - 1] - data.times[i]) {
      continue;  // a hole in the window: its samples take longer than so many should
    }
    const ResultRecord record = analyse_window(work, data, i);
    write_window(record, work.values, work.correlation.crs, work.frequency);
    if (records != nullptr) {
      records->push_back(record);
    }
    tally.add(i, work.energy, work.values.lags);
    if (!watch.look(i, n)) {
      return false;
    }
  }
  return true;
}

/// Writes what is known after the last window only: passages, or else the histogram.
void write_summary(const DataHeader& header, std::span<const ResultRecord> records,
                   double frequency) {
  if (settings.vortex) {
    const double longest_step = (settings.cstep + 1) / frequency;  // as a hole in a window
    write_passages(header, find_passages(records, longest_step, settings.vortex_level),
                   center_shift(frequency));
  } else if (settings.histogram) {
    write_histogram(header.path, make_histogram(records, settings.hist_size, settings.crsfilter));
  }
}

/// Says what is wrong with the run as a whole, before its first window.
void check_run(const LoadedSeries& data, const std::string& path) {
  if (data.times.size() <= settings.clength) {
    warn("WARNING: {} has too few samples ({}) for a window of {}\n", path, data.times.size(),
         settings.clength);
  }
  check_lags(path, array_geometry.baselines, data.sampling_frequency, data.max_lag);
  check_level(path, data.max_lag);
}

/// Whether anything is made of the records when the last window is done. An archive's hours need
/// not fit into memory.
bool wants_records() {
  return settings.graphics_mode != 0 || settings.histogram || settings.vortex;
}

/// Takes the memory for the records of all windows.
void reserve_records(const LoadedSeries& data, std::vector<ResultRecord>& records) {
  const std::size_t n = data.times.size();
  const auto step = static_cast<std::size_t>(settings.cstep);
  if (n > settings.clength) {
    records.reserve(records.size() + (n - settings.clength - 1) / step + 1);
  }
}

}  // namespace

bool analyse(const std::vector<std::string>& files, ResultSeries& series) {
  const LoadedSeries data = gather(files);
  if (data.ended_early) {
    return false;
  }
  series.sampling_frequency = data.sampling_frequency;
  const JoinedFile& first = data.files.front();
  check_run(data, first.path);

  const std::size_t begin = series.records.size();
  WindowWork work(settings.clength, data.max_lag, settings.lsq_len);
  work.angle = angle_method(settings.primary_direction);
  work.frequency = data.sampling_frequency;
  WindowTally tally(data.files, data.max_lag);
  std::vector<ResultRecord>* records = wants_records() ? &series.records : nullptr;
  if (records != nullptr) {
    reserve_records(data, *records);
  }
  const StopSignals signals;  // from here on there are files that must not be left as they are
  const DataHeader header = {first.path, first.station,           data.start_time,
                             data.files, data.sampling_frequency, data.max_lag};
  open_result_files(header);
  const bool whole = walk_windows(work, data, tally, records);
  if (!whole) {
    abandon_result_files();
    tally.tell();
    warn("WARNING: {} was not analysed to its end\n", first.path);
    return false;
  }
  finish_result_files();
  tally.tell();
  check_range_met(first.path, data.times, tally.windows());
  write_summary(header, std::span(series.records).subspan(begin), work.frequency);
  finish_result_files();
  return true;
}

}  // namespace tavrik
