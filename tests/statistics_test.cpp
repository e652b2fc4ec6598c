// The optional statistics against signals whose answers are known.

#include "src/statistics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/not_finite.h"
#include "tests/support/split.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

#include "src/analysis.h"
#include "src/spectrum.h"

namespace {

using namespace tavrik;
using support::nan;

// So short that both ends and every choice between maxima show; worked out by the definitions.
TEST(window_statistics, of_a_few_numbers_are_what_they_are_by_definition) {
  const std::vector<double> two_bins = {0, 3, 0, 3, 0, 0, 0, 0};
  EXPECT_DOUBLE_EQ(spectral_statistics(two_bins, 0.5).entropy, 1.0 / 3);
  EXPECT_EQ(spectral_statistics(two_bins, 0.5).peak_frequency, 1);
  EXPECT_EQ(spectral_statistics(two_bins, 0.5).centroid, 1.5);
  EXPECT_EQ(spectral_statistics(std::vector<double>(7), 1).centroid, 0);

  const struct {
    std::vector<double> samples;
    double variance, zero_lag, period, period_value;
  } table[] = {
      {{7, 1, 1, 5, 7, 1, 8, 2, 6, 8}, 2.210185, 1.619732, 4.718282, 0.047582},
      {{9, 0, 8, 6, 2, 8, 4, 2, 7, 2}, 0.650926, 0.911073, 2.582193, 0.366456},
      {{3, 1, 8, 0, 9, 1, 5, 5}, 0.717758, 1.644944, 0, 0},  // its maximum is too late
      {{2, 1, 1, 2, 6, 1, 3, 9}, 3.652654, 3.386494, 0, 0},  // at half a window
      {{0, 6, 4, 3, 6, 1, 9, 3, 6}, 1.046875, 0, 0, 0},      // beyond it
      {{2, 0, 0, 1, 1, 0, 2, 0}, 0.103175, 0.920974, 0, 0},  // level with a neighbour
      {{2, 1, 0, 0, 2, 0, 2, 0, 2, 1}, 0.158951, 1.345527, 4.227273, 0.008274},
      {std::vector<double>(8, 8388607), 0, 0, 0, 0},
  };

  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    const auto found = Autocorrelation(row.samples.size()).measure(row.samples, 2);
    EXPECT_NEAR(found.variance, row.variance, 1e-6);
    EXPECT_NEAR(found.zero_lag, row.zero_lag / 2, 1e-6);
    EXPECT_NEAR(found.period, row.period / 2, 1e-6);
    EXPECT_NEAR(found.period_value, row.period_value, 1e-6);
  }
}

// An autoregressive process x[i] = phi x[i - 1] + noise has the spectrum 1 / (1 + phi^2 - 2 phi cos
// w) and, smoothed, this variance. The bins of one window scatter around the spectrum
// exponentially, which takes 1 - Euler's constant from the entropy, before it is divided by log K.
TEST(window_statistics, know_noise_and_tones) {
  constexpr std::size_t size = 499;
  constexpr int windows = 200;
  std::mt19937_64 random(3);
  for (const auto& [phi, entropy, centroid, period] :
       {std::array{0.0, 0.92337, 5.01002, 499.0 / 64},
        {0.5, 0.87139, 2.92902, 499.0 / 20},
        {-0.7, 0.80148, 8.03136, 499.0 / 5}}) {
    SCOPED_TRACE(phi);
    Spectrum spectrum(size);
    Autocorrelation autocorrelation(size);
    std::vector<double> powers(size / 2), noise(size), tone(size);
    double last = 0, mean_entropy = 0, mean_centroid = 0, mean_variance = 0;
    for (int w = 0; w < windows; ++w) {
      for (std::size_t i = 0; i < size; ++i) {
        const double uniform = static_cast<double>(random() >> 11) * 0x1p-53 - 0.5;
        noise[i] = last = phi * last + 1000 * std::sqrt(12) * uniform;
        spectrum.input(w % 3)[2 * i] = std::round(last);
        tone[i] = std::cos(2 * std::numbers::pi * static_cast<double>(i) / period);
      }
      spectrum.transform();
      spectrum.channel_powers(w % 3, powers);
      mean_entropy += spectral_statistics(powers, 20.0 / size).entropy / windows;
      mean_centroid += spectral_statistics(powers, 20.0 / size).centroid / windows;
      mean_variance += autocorrelation.measure(noise, 20).variance / windows;
    }
    EXPECT_NEAR(mean_entropy, entropy, 0.005);
    EXPECT_NEAR(mean_centroid, centroid, 0.01 * centroid);
    const double smoothed = 1e6 * (0.375 + 0.5 * phi + 0.125 * phi * phi) / (1 - phi * phi);
    EXPECT_NEAR(mean_variance, smoothed, 0.03 * smoothed);
    const auto heard = autocorrelation.measure(tone, 20);
    EXPECT_NEAR(heard.zero_lag, period / 4 / 20, 0.04 * period / 20);
    EXPECT_NEAR(heard.period, period / 20, 0.02 * period / 20);
    EXPECT_NEAR(heard.period_value, 1 - period / size, 0.03);
  }
}

/// A window's direction, the seconds from the window before, and its quality.
struct Turn {
  double azimuth, passed = 1, quality = 10;
};

std::vector<ResultRecord> windows_of(const std::vector<Turn>& turns) {
  std::vector<ResultRecord> records;
  double time = 999;
  for (const Turn& turn : turns) {
    time += turn.passed;
    records.push_back(
        {.az = turn.azimuth, .quality = turn.quality, .vel2 = 300 + time, .time = time});
  }
  return records;
}

// A steady source before and after keeps the usual step at 0.
TEST(find_passages, are_runs_of_one_sense) {
  const struct {
    const char* name;
    std::vector<Turn> turns;
    std::vector<std::pair<double, double>> found;  // start after 1000, turn
  } table[] = {
      {"too short", {{10}, {20}, {30}}, {}},
      {"four", {{10}, {20}, {30}, {40}}, {{0, 30}}},
      {"counter-clockwise through north", {{20}, {5}, {350}, {340}, {300}}, {{0, -80}}},
      {"more than a circle", {{0}, {100}, {200}, {300}, {40}, {140}}, {{0, 500}}},
      {"turning point", {{10}, {20}, {30}, {40}, {30}, {20}, {10}}, {{0, 30}, {3, -30}}},
      {"stands still", {{0}, {10}, {20}, {30}, {30}, {40}, {50}, {70}}, {{0, 30}, {4, 40}}},
      {"half a circle", {{0}, {10}, {20}, {30}, {210}, {220}, {230}, {240}}, {{0, 30}, {4, 30}}},
      {"no direction", {{0}, {10}, {20}, {30}, {nan}, {5}, {15}, {25}, {35}}, {{0, 30}, {5, 30}}},
      {"no quality", {{0, 1, 9.99}, {10}, {20}, {40}, {50, 1, 20}, {60, 1, nan}, {70}}, {{1, 40}}},
      {"a small hole", {{10}, {20}, {30}, {40, 1.1}, {50}, {60}, {70}}, {{0, 60}}},
      {"holes", {{0}, {10, 9}, {20, 2.1}, {30}, {40}, {50}, {60, 1.2}}, {{11.1, 30}}},
      {"back in time", {{10}, {20}, {30}, {40, 0}, {50}, {60}, {70}}, {{2, 30}}},
      {"a step that is not written", {{10}, {20}, {30}, {30 + 4e-7}, {40}, {50}}, {}},
      {"less than 10 degrees", {{0}, {3}, {6}, {9.999}}, {}},
      {"10 degrees", {{0}, {3}, {6}, {10}}, {{0, 10}}},
      {"nothing", {}, {}},
  };

  for (const auto& row : table) {
    SCOPED_TRACE(row.name);
    std::vector<Turn> turns = row.turns;
    turns.push_back({0, 9});
    turns.insert(turns.end(), 20, {0});
    const auto passages = find_passages(windows_of(turns), 1.125, 10);
    ASSERT_EQ(passages.size(), row.found.size());
    for (std::size_t i = 0; i < passages.size(); ++i) {
      EXPECT_DOUBLE_EQ(passages[i].start, 1000 + row.found[i].first);
      EXPECT_DOUBLE_EQ(passages[i].turn, row.found[i].second);
      EXPECT_DOUBLE_EQ(passages[i].rate, passages[i].turn / passages[i].duration);
    }
  }
  const auto passages =
      find_passages(windows_of({{0}, {10}, {20}, {40, 1, 20}, {90, 1, 25}}), 1, 10);
  EXPECT_EQ(passages.at(0).duration, 4);
  EXPECT_EQ(passages[0].first_az, 0);
  EXPECT_EQ(passages[0].last_az, 90);
  EXPECT_DOUBLE_EQ(passages[0].vel2, 1302);
  EXPECT_DOUBLE_EQ(passages[0].quality, 15);
}

TEST(find_passages, turn_by_more_than_three_usual_steps) {
  const struct {
    const char* name;
    std::vector<Turn> turns;
    std::size_t found;
  } table[] = {
      {"as much", {{0}, {350}, {340}, {330}}, 0},
      {"more", {{0}, {350}, {340}, {329}}, 1},
      {"above the lower of two middle steps",
       {{0}, {10}, {20}, {30}, {40}, {20}, {40}, {20}, {40}},
       0},
      {"as much as the upper of two middle steps", {{0}, {10}, {20}, {40}, {60}}, 1},
      {"holes", {{0}, {10}, {20}, {31}, {100, 9}, {200, 9}, {300, 9}, {40, 9}}, 1},
      {"no direction", {{0}, {10}, {20}, {31}, {nan}, {100}, {nan}, {200}, {nan}}, 1},
      {"whatever their quality",
       {{0}, {10}, {20}, {31}, {99, 1, 1}, {9, 1, 1}, {99, 1, 1}, {9}},
       0},
  };

  for (const auto& [name, turns, found] : table) {
    EXPECT_EQ(find_passages(windows_of(turns), 1.125, 10).size(), found) << name;
  }
}

/// The statistics of a whole run.
class statistics : public FreshState {
 protected:
  statistics() { settings.quiet = true; }

  /// Analyses files; their records join those that are in the series.
  void run(const std::vector<std::string>& files) {
    const support::CapturedStderr captured;
    tavrik::analyse(files, series);
  }

  /// The numbers of a result file, line by line.
  std::vector<std::vector<double>> numbers(const std::string& name) const {
    std::vector<std::vector<double>> lines;
    for (const std::string& line : support::split(folder.read(name), '\n')) {
      std::istringstream words(line);
      lines.emplace_back(std::istream_iterator<double>(words), std::istream_iterator<double>());
    }
    return lines;
  }

  support::TemporaryFolder folder;
  ResultSeries series;
};

// Two recordings, the second some time after the first or over its end: the source is elsewhere by
// then. No passage goes on from one to the other. A steady source makes none.
TEST_F(statistics, follow_a_source_around_the_array_as_far_as_the_data_go) {
  settings.cstep = 32;
  settings.vortex = settings.histogram = settings.center_time = true;
  for (const auto& [turn, later] :
       {std::pair{3.0, 3600.0}, {-3.0, 241.0}, {3.0, -1000.0}, {0.0, 3600.0}}) {
    SCOPED_TRACE(later);
    recording::Scene scene;
    scene.length = 240;
    scene.noise = 5;
    scene.waves = {{.azimuth = 200, .turn = turn, .start = -60, .length = 360}};
    write_ko24(folder / "a.ko24", compute_recording(scene), 1);
    scene.start += later;
    write_ko24(folder / "b.ko24", compute_recording(scene), 1);
    const std::vector<std::string> files = {folder / "a.ko24", folder / "b.ko24"};
    settings.vortex_level = 100;
    run(files);
    double total = 0;
    const auto passages = numbers("a.vaz");
    EXPECT_EQ(passages.empty(), turn == 0);
    for (const auto& passage : passages) {
      total += passage[4];
      EXPECT_LT(passage[1], scene.length);
      EXPECT_NEAR(passage[5], turn, 0.3);
      EXPECT_NEAR(passage[4], passage[5] * passage[1], 1e-4);
      EXPECT_GT(passage[7], 100);
      EXPECT_TRUE(std::any_of(series.records.begin(), series.records.end(), [&](const auto& r) {
        return std::fabs(r.time + 16 / 18.0 - passage[0]) < 1e-5;
      }));
    }
    EXPECT_NEAR(total, 2 * 240 * turn, 120);  // four circles
    EXPECT_FALSE(std::filesystem::exists(folder / "a.hst"));
    EXPECT_EQ(series.records.front().ent1, 0);  // no --entropy
    run(files);                                 // into the series that is there
    EXPECT_EQ(numbers("a.vaz"), passages);
    settings.vortex_level = 1e6;
    run(files);
    EXPECT_EQ(folder.read("a.vaz"), "");
  }
}

}  // namespace
