// The optional statistics against signals whose answers are known.

#include "src/statistics.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <numbers>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

#include "src/analysis.h"
#include "src/spectrum.h"

namespace {

using namespace tavrik;
using std::numbers::pi;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t length = 512;  // of a window

/// An autoregressive process x[i] = phi x[i - 1] + noise of deviation 1000; phi 0: white noise.
std::vector<double> process(double phi, std::size_t count, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  std::vector<double> x;
  double value = 0;
  for (std::size_t i = 0; i < count + 1000; ++i) {
    double noise = -6;  // the sum of 12 even numbers: nearly a Gaussian, and the same everywhere
    for (int k = 0; k < 12; ++k) {
      noise += static_cast<double>(random() >> 11) * 0x1p-53;
    }
    value = phi * value + 1000 * noise;
    if (i >= 1000) {
      x.push_back(value);
    }
  }
  return x;
}

SpectralStatistics spectrum_of(std::span<const double> samples, double frequency) {
  std::vector<std::int32_t> raw(samples.size());
  std::transform(samples.begin(), samples.end(), raw.begin(),
                 [](double x) { return static_cast<std::int32_t>(std::lround(x)); });
  Spectrum spectrum(raw.size());
  spectrum.set_channel(1, raw.data());
  spectrum.transform();
  std::vector<double> powers(raw.size() / 2);
  spectrum.channel_powers(1, powers);
  return spectral_statistics(powers, frequency / static_cast<double>(raw.size()));
}

std::vector<double> tone(double amplitude, double samples_in_period, double offset = 0) {
  std::vector<double> x(length);
  for (std::size_t i = 0; i < length; ++i) {
    x[i] = offset + amplitude * std::cos(2 * pi * static_cast<double>(i) / samples_in_period + 0.4);
  }
  return x;
}

TEST(spectral_statistics, know_tones) {
  for (const double bin : {1.0, 20.0, 100.0, 255.0}) {
    const auto found = spectrum_of(tone(1e6, length / bin, 3e6), 20);
    EXPECT_NEAR(found.entropy, 0, 1e-6);
    EXPECT_DOUBLE_EQ(found.peak_frequency, bin * 20 / length);
    EXPECT_NEAR(found.centroid, bin * 20 / length, 1e-6);
  }
  const std::vector<double> two = {0, 3, 0, 3, 0, 0, 0, 0};  // half of the power each
  EXPECT_DOUBLE_EQ(spectral_statistics(two, 0.5).entropy, 1.0 / 3);
  EXPECT_DOUBLE_EQ(spectral_statistics(two, 0.5).peak_frequency, 1);
  EXPECT_DOUBLE_EQ(spectral_statistics(two, 0.5).centroid, 1.5);
  EXPECT_DOUBLE_EQ(spectral_statistics(std::vector<double>(7, 0.1), 1).entropy, 1);
  EXPECT_EQ(spectral_statistics(std::vector<double>(7), 1).centroid, 0);
}

/// The shares q of a process's spectrum are known; the bins of one window scatter around them
/// exponentially, which takes 1 - Euler's constant from the entropy.
TEST(spectral_statistics, know_noise_and_autoregressive_processes) {
  for (const double phi : {0.0, 0.5, -0.7}) {
    SCOPED_TRACE(phi);
    constexpr std::size_t n_bins = length / 2;
    std::vector<double> q(n_bins);
    for (std::size_t k = 0; k < n_bins; ++k) {
      const double w = 2 * pi * static_cast<double>(k + 1) / length;
      q[k] = 1 / (1 + phi * phi - 2 * phi * std::cos(w));
    }
    const double total = std::accumulate(q.begin(), q.end(), 0.0);
    double entropy = 0;
    double centroid = 0;
    for (std::size_t k = 0; k < n_bins; ++k) {
      entropy -= q[k] / total * std::log(q[k] / total);
      centroid += q[k] / total * static_cast<double>(k + 1);
    }
    constexpr int windows = 200;
    const std::vector<double> x = process(phi, windows * length, 3);
    double mean_entropy = 0;
    double mean_centroid = 0;
    for (int i = 0; i < windows; ++i) {
      const auto found = spectrum_of(std::span(x).subspan(length * i, length), length);
      mean_entropy += found.entropy / windows;
      mean_centroid += found.centroid / windows;
    }
    EXPECT_NEAR(mean_entropy, (entropy - 1 + std::numbers::egamma) / std::log(n_bins), 0.003);
    EXPECT_NEAR(mean_centroid, centroid, 0.01 * centroid);
  }
}

TEST(autocorrelation, knows_tones) {
  for (const double period : {8.0, 23.7, 100.0}) {
    SCOPED_TRACE(period);
    const double gain = std::pow(std::cos(pi / period), 2);
    const auto found = Autocorrelation(length).measure(tone(1000, period, 1e5), 20);
    EXPECT_NEAR(found.variance, 5e5 * gain * gain, 5e5 * 0.03);
    EXPECT_NEAR(found.zero_lag, period / 4 / 20, 0.04 * period / 20);
    EXPECT_NEAR(found.period, period / 20, 0.02 * period / 20);
    EXPECT_NEAR(found.period_value, 1 - period / length, 0.03);
  }
}

TEST(autocorrelation, knows_noise_and_autoregressive_processes) {
  for (const double phi : {0.0, 0.5, -0.7}) {
    SCOPED_TRACE(phi);
    constexpr int windows = 200;
    const std::vector<double> x = process(phi, windows * length, 4);
    double variance = 0;
    for (int i = 0; i < windows; ++i) {
      const auto window = std::span(x).subspan(length * i, length);
      variance += Autocorrelation(length).measure(window, 20).variance / windows;
    }
    const double smoothing = 0.375 + 0.5 * phi + 0.125 * phi * phi;
    EXPECT_NEAR(variance, 1e6 / (1 - phi * phi) * smoothing, 0.03 * variance);
  }
}

/// The statistics by their definitions, without a thought for speed.
AutocorrelationStatistics literal_autocorrelation(const std::vector<double>& x, double frequency) {
  const std::size_t n = x.size();
  std::vector<double> y(n);
  for (std::size_t i = 1; i + 1 < n; ++i) {
    y[i] = (x[i - 1] + 2 * x[i] + x[i + 1]) / 4;
  }
  y[0] = (2 * x[0] + x[1]) / 3;
  y[n - 1] = (2 * x[n - 1] + x[n - 2]) / 3;
  const double mean = std::accumulate(y.begin(), y.end(), 0.0) / static_cast<double>(n);
  const auto r = [&](std::size_t lag) {
    double sum = 0;
    for (std::size_t i = 0; i + lag < n; ++i) {
      sum += (y[i] - mean) * (y[i + lag] - mean);
    }
    return sum;
  };
  AutocorrelationStatistics result;
  result.variance = r(0) / static_cast<double>(n - 1);
  std::size_t zero = 1;
  while (zero <= n / 2 && r(zero) > 0) {
    ++zero;
  }
  if (zero > n / 2) {
    return result;
  }
  const auto parabola = [&](std::size_t lag, double at) {  // through lag - 1, lag, lag + 1
    const double bend = (r(lag + 1) - 2 * r(lag) + r(lag - 1)) / 2;
    return r(lag) + (r(lag + 1) - r(lag - 1)) / 2 * at + bend * at * at;
  };
  double above = -1;
  double below = 0;
  for (int i = 0; i < 50; ++i) {
    const double middle = (above + below) / 2;
    (parabola(zero, middle) > 0 ? above : below) = middle;
  }
  result.zero_lag = (static_cast<double>(zero) + above) / frequency;
  std::size_t top = 0;
  for (std::size_t lag = zero + 1; lag <= n / 2; ++lag) {
    if (r(lag) > 0 && r(lag) >= r(lag - 1) && r(lag) > r(lag + 1) &&
        (top == 0 || r(lag) > r(top))) {
      top = lag;
    }
  }
  if (top > 0) {
    const double at = (r(top - 1) - r(top + 1)) / 2 / (r(top - 1) - 2 * r(top) + r(top + 1));
    result.period = (static_cast<double>(top) + at) / frequency;
    result.period_value = parabola(top, at) / r(0);
  }
  return result;
}

TEST(autocorrelation, is_what_its_definition_says) {
  int without_period = 0;
  for (std::uint64_t seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE(seed);
    const std::size_t size = 8 + seed % 23;
    const auto x = process(seed % 3 == 0 ? 0.95 : 0.3, size, seed);
    const auto found = Autocorrelation(size).measure(x, 18);
    const auto expected = literal_autocorrelation(x, 18);
    EXPECT_NEAR(found.variance, expected.variance, 1e-9 * expected.variance);
    EXPECT_NEAR(found.zero_lag, expected.zero_lag, 1e-9);
    EXPECT_NEAR(found.period, expected.period, 1e-9);
    EXPECT_NEAR(found.period_value, expected.period_value, 1e-9);
    without_period += expected.period == 0 ? 1 : 0;
  }
  EXPECT_GT(without_period, 20);
  EXPECT_LT(without_period, 300);
}

TEST(autocorrelation, has_zeros_for_what_there_is_not) {
  Autocorrelation acr(8);
  const auto measure = [&](const std::vector<double>& x) { return acr.measure(x, 2); };
  const auto none = measure(std::vector<double>(8, 8388607));
  EXPECT_EQ(none.variance, 0);
  EXPECT_EQ(none.zero_lag, 0);
  const auto ramp = measure({0, 4, 8, 12, 16, 20, 24, 28});  // never comes back
  EXPECT_GT(ramp.variance, 0);
  EXPECT_GT(ramp.zero_lag, 0.5);
  EXPECT_LT(ramp.zero_lag, 1.5);
  EXPECT_EQ(ramp.period, 0);
  EXPECT_EQ(ramp.period_value, 0);
}

/// Windows of these azimuths, a second apart, quality 10 and speed 300; behind those numbers that
/// are told time jumps.
std::vector<ResultRecord> windows_of(const std::vector<double>& azimuths,
                                     const std::map<std::size_t, double>& jumps = {}) {
  std::vector<ResultRecord> records(azimuths.size());
  double time = 1000;
  for (std::size_t i = 0; i < records.size(); ++i) {
    time += jumps.contains(i) ? jumps.at(i) : 0;
    records[i].az = azimuths[i];
    records[i].time = time++;
    records[i].quality = 10;
    records[i].vel2 = 300;
  }
  return records;
}

TEST(find_passages, are_runs_of_one_sense) {
  const struct {
    const char* name;
    std::vector<double> azimuths;
    std::map<std::size_t, double> jumps;
    std::vector<std::pair<double, double>> found;  // start after 1000, turn
  } rows[] = {
      {"too short", {10, 20, 30}, {}, {}},
      {"four", {10, 20, 30, 40}, {}, {{0, 30}}},
      {"counter-clockwise through north", {20, 5, 350, 340, 300}, {}, {{0, -80}}},
      {"more than a circle", {0, 100, 200, 300, 40, 140}, {}, {{0, 500}}},
      {"the turning point is in both", {10, 20, 30, 40, 30, 20, 10}, {}, {{0, 30}, {3, -30}}},
      {"stands still", {10, 20, 30, 40, 40, 50, 60, 70, 80}, {}, {{0, 30}, {4, 40}}},
      {"half a circle has no sense", {10, 20, 30, 40, 220, 230, 240, 250}, {}, {{0, 30}, {4, 30}}},
      {"no direction", {10, 20, 30, 40, nan, 60, 70, 80, 90}, {}, {{0, 30}, {5, 30}}},
      {"a small hole", {10, 20, 30, 40, 50, 60, 70}, {{3, 0.1}}, {{0, 60}}},
      {"holes", {0, 10, 20, 30, 40, 50, 60}, {{1, 9}, {2, 1.1}, {6, 0.2}}, {{12.1, 30}}},
      {"back in time", {10, 20, 30, 40, 50, 60, 70}, {{3, -1}}, {{2, 30}}},
      {"a step that is not written", {10, 20, 30, 30 + 4e-7, 40, 50}, {}, {}},
      {"nothing", {}, {}, {}},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto passages = find_passages(windows_of(row.azimuths, row.jumps), 1.125, 10);
    ASSERT_EQ(passages.size(), row.found.size());
    for (std::size_t i = 0; i < passages.size(); ++i) {
      EXPECT_DOUBLE_EQ(passages[i].start, 1000 + row.found[i].first);
      EXPECT_DOUBLE_EQ(passages[i].turn, row.found[i].second);
      EXPECT_DOUBLE_EQ(passages[i].rate, passages[i].turn / passages[i].duration);
    }
  }
}

TEST(find_passages, take_the_level_and_give_means) {
  auto records = windows_of({10, 20, 30, 40, 60, 80, 90});
  records[0].quality = 9.99;
  records[2].quality = 20;
  records[5].quality = nan;
  records[1].vel2 = 340;
  const auto passages = find_passages(records, 1, 10);
  ASSERT_EQ(passages.size(), 1U);
  EXPECT_EQ(passages[0].start, 1001);
  EXPECT_EQ(passages[0].duration, 3);
  EXPECT_EQ(passages[0].first_az, 20);
  EXPECT_EQ(passages[0].last_az, 60);
  EXPECT_DOUBLE_EQ(passages[0].vel2, 310);
  EXPECT_DOUBLE_EQ(passages[0].quality, 12.5);
}

/// The statistics of a whole run: what is in which file.
class statistics : public FreshState {
 protected:
  statistics() { settings.quiet = true; }

  /// Analyses a source that circles the array; returns what was said.
  std::string run(double degrees_per_second) {
    recording::Scene scene;
    scene.length = 240;
    scene.noise = 5;
    scene.waves = {{.azimuth = 200, .turn = degrees_per_second, .start = -60, .length = 360}};
    write_ko24(folder / "rec.ko24", compute_recording(scene), 1);
    for (const char* extension : {"az", "caz", "acr", "crs", "cre", "hst", "vaz"}) {
      std::filesystem::remove(folder / (std::string("rec.") + extension));
    }
    support::CapturedStderr captured;
    ResultSeries series;
    EXPECT_TRUE(analyse({folder / "rec.ko24"}, series));
    records = series.records;
    return captured.take();
  }

  /// The numbers of a result file, line by line.
  std::vector<std::vector<double>> numbers(const std::string& extension) const {
    std::vector<std::vector<double>> lines;
    std::istringstream file(folder.read("rec." + extension));
    for (std::string line; std::getline(file, line);) {
      std::istringstream words(line);
      lines.emplace_back(std::istream_iterator<double>(words), std::istream_iterator<double>());
    }
    return lines;
  }

  support::TemporaryFolder folder;
  std::vector<ResultRecord> records;
};

TEST_F(statistics, follow_a_source_around_the_array) {
  settings.cstep = 32;
  settings.vortex = true;
  settings.vortex_level = 100;
  for (const double turn : {3.0, -3.0}) {
    SCOPED_TRACE(turn);
    run(turn);
    double total = 0;
    for (const auto& passage : numbers("vaz")) {
      ASSERT_EQ(passage.size(), 8U);
      total += passage[4];
      EXPECT_NEAR(passage[5], turn, 0.3);
      EXPECT_NEAR(passage[4], passage[5] * passage[1], 1e-4);
      EXPECT_GT(passage[7], 100);
    }
    EXPECT_NEAR(total, 240 * turn, 60);  // two circles
  }
  settings.vortex_level = 1e6;
  run(3);
  EXPECT_EQ(folder.read("rec.vaz"), "");
}

TEST_F(statistics, are_in_the_files_that_the_options_ask_for) {
  settings.comment = settings.histogram = true;
  for (unsigned options = 0; options < 16; ++options) {
    SCOPED_TRACE(options);
    settings.entropy = (options & 1) != 0;
    settings.acr = (options & 2) != 0;
    settings.vortex = (options & 4) != 0;
    settings.write_az = (options & 8) != 0;
    EXPECT_EQ(run(0), "");
    const std::map<std::string, bool> wanted = {{"az", settings.write_az},
                                                {"caz", settings.write_az},
                                                {"acr", settings.acr},
                                                {"crs", settings.entropy && settings.write_az},
                                                {"cre", settings.entropy && settings.write_az},
                                                {"vaz", settings.vortex},
                                                {"hst", !settings.vortex}};
    for (const auto& [extension, is_wanted] : wanted) {
      SCOPED_TRACE(extension);
      const std::string name = "rec." + extension;
      ASSERT_EQ(std::filesystem::exists(folder / name), is_wanted);
      EXPECT_EQ(is_wanted && folder.read(name).starts_with("# test 1.45681e+09\n"),
                is_wanted && extension != "hst");
    }
    EXPECT_EQ(records[3].ent1 > 0, settings.entropy);
  }
}

/// Of two files, the second an hour later or over the end of the first: no passage goes on from one
/// to the other, by -l128 -s128 without a window that is skipped.
TEST_F(statistics, have_passages_that_end_where_the_data_do) {
  settings.vortex = settings.center_time = true;
  settings.vortex_level = 1;
  for (const double later : {3600.0, 60.0, -1000.0}) {
    SCOPED_TRACE(later);
    recording::Scene scene;
    scene.length = 256 * 128 / 18.0;
    scene.noise = 5;
    scene.waves = {{.azimuth = 20, .turn = 0.1, .start = -600, .length = 6000}};
    write_ko24(folder / "a.ko24", compute_recording(scene), 1);
    scene.start += later;
    write_ko24(folder / "rec.ko24", compute_recording(scene), 1);
    support::CapturedStderr captured;
    ResultSeries series;
    analyse({folder / "a.ko24", folder / "rec.ko24"}, series);
    std::istringstream passages(folder.read("a.vaz"));
    int count = 0;
    for (double start = 0, duration = 0, other = 0, rate = 0; passages >> start >> duration;) {
      passages >> other >> other >> other >> rate >> other >> other;
      EXPECT_GT(duration, 0);
      EXPECT_LE(duration, scene.length);
      EXPECT_LT(std::fabs(rate), 30);
      EXPECT_TRUE(std::any_of(series.records.begin(), series.records.end(), [&](const auto& r) {
        return std::fabs(r.time + 128 / 36.0 - start) < 1e-5;
      }));
      ++count;
    }
    EXPECT_GT(count, 1);

    const std::string first = folder.read("a.vaz");
    analyse({folder / "a.ko24", folder / "rec.ko24"}, series);  // behind the records that are there
    EXPECT_EQ(folder.read("a.vaz"), first);
  }
}

/// A constant channel has no spectrum, whatever the transform's rounding makes of it.
TEST_F(statistics, are_zeros_for_a_dead_channel) {
  settings.write_az = settings.entropy = settings.acr = true;
  settings.clength = 499;
  recording::Scene scene;
  scene.length = 120;
  recording::Recording dead = compute_recording(scene);
  std::fill(dead.samples[2].begin(), dead.samples[2].end(), 8388607);
  write_ko24(folder / "rec.ko24", dead, 1);
  support::CapturedStderr captured;
  ResultSeries series;
  analyse({folder / "rec.ko24"}, series);
  for (const auto& line : numbers("crs")) {
    EXPECT_GT(line[3], 0.5);
    EXPECT_EQ(line[9] + line[10] + line[11], 0);
  }
  EXPECT_EQ(numbers("acr").at(1).back(), 0);
}

/// The signal is the same on all three microphones, but for its delay.
TEST_F(statistics, stand_in_lines_of_their_own) {
  settings.write_az = settings.entropy = settings.acr = settings.center_time = true;
  settings.cstep = settings.clength = length;
  EXPECT_EQ(run(0), "");
  const auto az = numbers("az");
  const auto cre = numbers("cre");
  const auto crs = numbers("crs");
  const auto acr = numbers("acr");
  ASSERT_EQ(az.size(), 8U);
  ASSERT_EQ(cre.size(), az.size());
  ASSERT_EQ(crs.size(), az.size());
  ASSERT_EQ(acr.size(), az.size());
  for (std::size_t i = 0; i < az.size(); ++i) {
    ASSERT_EQ(cre[i].size(), 2U + 4);
    ASSERT_EQ(crs[i].size(), 2U + 10);
    ASSERT_EQ(acr[i].size(), 2U + 13);
    const ResultRecord& r = records[i];
    const std::vector<double> entropies = {r.ent1, r.ent0, r.ent2};
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_NEAR(cre[i][3 + k], entropies[k], 1e-6);
      EXPECT_NEAR(crs[i][3 + 3 * k], (std::vector{r.ent0, r.ent1, r.ent2}[k]), 1e-6);
      EXPECT_GE(crs[i][4 + 3 * k], 0.5);  // the wave's band
      EXPECT_LE(crs[i][4 + 3 * k], 3.0);
      EXPECT_GE(crs[i][5 + 3 * k], 0.5);
      EXPECT_LE(crs[i][5 + 3 * k], 3.5);
      EXPECT_GT(acr[i][3 + 4 * k], 0.3e6);
      EXPECT_LT(acr[i][3 + 4 * k], 1.2e6);
    }
    for (const auto& file : {cre, crs, acr}) {
      EXPECT_EQ(file[i][2], az[i][2]);  // the time of the step's middle
    }
  }
}

}  // namespace
