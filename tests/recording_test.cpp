// What the example recorder promises.

#include "tools/recording.h"

#include <cmath>
#include <complex>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numbers>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "korla/korla_base.h"
#include "tests/support/temporary_folder.h"

namespace {

using recording::compute_recording;
using recording::PlaneWave;
using recording::Recording;
using recording::Scene;
using testing::HasSubstr;

constexpr double pi = std::numbers::pi;

/// A scene of one wave and no noise.
Scene quiet_scene(const PlaneWave& wave, double frequency, double length) {
  Scene scene;
  scene.sampling_frequency = frequency;
  scene.length = length;
  scene.waves = {wave};
  scene.noise = 0.0;
  return scene;
}

double rms(std::span<const std::int32_t> samples) {
  double sum = 0.0;
  for (const std::int32_t sample : samples) {
    sum += static_cast<double>(sample) * sample;
  }
  return std::sqrt(sum / static_cast<double>(samples.size()));
}

/// Correlation coefficient of two stretches of the same length and mean 0.
double correlation(std::span<const std::int32_t> a, std::span<const std::int32_t> b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    sum += static_cast<double>(a[i]) * b[i];
  }
  return sum / (rms(a) * rms(b) * static_cast<double>(a.size()));
}

/// Phase of a tone of `frequency` Hz in samples first to end, by least squares over whole periods.
double phase_of(const std::vector<std::int32_t>& samples, double sampling_frequency,
                double frequency, std::size_t first, std::size_t end) {
  std::complex<double> sum = 0.0;
  for (std::size_t i = first; i < end; ++i) {
    const double angle = 2.0 * pi * frequency * static_cast<double>(i) / sampling_frequency;
    sum += static_cast<double>(samples.at(i)) * std::polar(1.0, -angle);
  }
  return std::arg(sum);
}

/// Seconds by which channel `late` is behind channel 0 in a stretch of a 1 Hz tone, from its phase.
double tone_delay(const Recording& recorded, std::size_t late, double from, double to) {
  const double rate = recorded.sampling_frequency;
  const auto first = static_cast<std::size_t>(from * rate);
  const auto end = static_cast<std::size_t>(to * rate);
  const double difference = phase_of(recorded.samples.at(0), rate, 1.0, first, end) -
                            phase_of(recorded.samples.at(late), rate, 1.0, first, end);
  return std::remainder(difference, 2.0 * pi) / (2.0 * pi);
}

constexpr PlaneWave tone = {.azimuth = 0.0,
                            .turn = 0.0,
                            .velocity = 300.0,
                            .start = 2.0,
                            .length = 80.0,
                            .low = 1.0,
                            .high = 1.0,
                            .amplitude = 1e6};

// Microphone 2 stands 75 m west of the first, microphone 3 75 m south of it: a quarter of a second.
TEST(compute_recording, delays_a_wave_by_its_direction) {
  struct Row {
    double azimuth;
    double delay2;  // in quarter seconds
    double delay3;
  };

  const double diagonal = std::sqrt(0.5);
  const std::vector<Row> table = {
      {0.0, 0.0, 1.0},
      {45.0, diagonal, diagonal},
      {90.0, 1.0, 0.0},
      {135.0, diagonal, -diagonal},
      {180.0, 0.0, -1.0},
      {225.0, -diagonal, -diagonal},
      {270.0, -1.0, 0.0},
      {315.0, -diagonal, diagonal},
      {30.0, 0.5, std::sqrt(0.75)},
      {-60.0, -std::sqrt(0.75), 0.5},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.azimuth);
    PlaneWave wave = tone;
    wave.azimuth = row.azimuth;
    const Recording recorded = compute_recording(quiet_scene(wave, 18.0, 90.0));
    EXPECT_NEAR(tone_delay(recorded, 1, 20.0, 60.0), row.delay2 * 0.25, 1e-7);
    EXPECT_NEAR(tone_delay(recorded, 2, 20.0, 60.0), row.delay3 * 0.25, 1e-7);
  }
}

TEST(compute_recording, places_microphones_where_they_stand) {
  Scene scene = quiet_scene(tone, 18.0, 90.0);  // from the north
  scene.microphones = {{{500.0, 30.0}, {-500.0, -30.0}, {0.0, 105.0}}};
  const Recording recorded = compute_recording(scene);
  EXPECT_NEAR(tone_delay(recorded, 1, 20.0, 60.0), 60.0 / 300.0, 1e-7);
  EXPECT_NEAR(tone_delay(recorded, 2, 20.0, 60.0), -75.0 / 300.0, 1e-7);
}

TEST(compute_recording, turns_a_wave_evenly_over_its_life) {
  PlaneWave wave = tone;
  wave.azimuth = 350.0;
  wave.turn = 0.5;
  const Recording recorded = compute_recording(quiet_scene(wave, 18.0, 90.0));
  constexpr double tolerance = 2e-4;  // the fit's own, over a turn of two degrees
  for (const double age : {14.0, 20.0, 40.0, 60.0, 66.0}) {
    SCOPED_TRACE(age);
    const double azimuth = (350.0 + 0.5 * age) * pi / 180.0;
    const double middle = wave.start + age;
    EXPECT_NEAR(tone_delay(recorded, 1, middle - 2.0, middle + 2.0), 0.25 * std::sin(azimuth),
                tolerance);
    EXPECT_NEAR(tone_delay(recorded, 2, middle - 2.0, middle + 2.0), 0.25 * std::cos(azimuth),
                tolerance);
  }
}

// The same wave, sampled more densely by the recorder itself, tells what is between the samples.
TEST(compute_recording, shifts_the_whole_wave_by_fractions_of_a_sample) {
  const PlaneWave wave = {.azimuth = 90.0,
                          .turn = 0.0,
                          .velocity = 75.0 * 180.0 / 37.0,  // 3.7 samples at 18 Hz
                          .start = 1.5,
                          .length = 30.0,
                          .low = 0.5,
                          .high = 8.0,
                          .amplitude = 20000.0};
  const Recording coarse = compute_recording(quiet_scene(wave, 18.0, 40.0));
  const Recording fine = compute_recording(quiet_scene(wave, 180.0, 40.0));
  ASSERT_EQ(coarse.samples.at(1).size(), 720U);
  int compared = 0;
  for (std::size_t i = 4; i < 720; ++i) {
    ASSERT_NEAR(coarse.samples[1][i], fine.samples[0].at(10 * i - 37), 1) << i;
    ASSERT_NEAR(coarse.samples[2][i], coarse.samples[0][i], 1) << i;
    compared += std::abs(coarse.samples[1][i]) > 1000 ? 1 : 0;
  }
  EXPECT_GT(compared, 400);
}

TEST(compute_recording, keeps_a_wave_within_its_life_and_band) {
  const PlaneWave wave = {.azimuth = 0.0,
                          .turn = 0.0,
                          .velocity = 300.0,
                          .start = 10.0,
                          .length = 200.0,
                          .low = 2.0,
                          .high = 3.0,
                          .amplitude = 1000.0};
  const Recording recorded = compute_recording(quiet_scene(wave, 20.0, 300.0));
  const std::span<const std::int32_t> first(recorded.samples.at(0));
  const std::span<const std::int32_t> late(recorded.samples.at(2));
  EXPECT_EQ(rms(first.subspan(0, 201)), 0.0);
  EXPECT_EQ(rms(first.subspan(4200)), 0.0);
  EXPECT_EQ(rms(late.subspan(0, 206)), 0.0);
  EXPECT_EQ(rms(late.subspan(4205)), 0.0);
  EXPECT_GT(rms(late.subspan(4195, 10)), 0.0);
  EXPECT_NEAR(rms(first.subspan(700, 3000)), 1000.0, 50.0);

  // Power by frequency: all of it between 2 and 3 Hz.
  double inside = 0.0;
  double outside = 0.0;
  for (int k = 1; k < 1500; ++k) {
    const double frequency = k * 20.0 / 3000.0;
    std::complex<double> sum = 0.0;
    for (std::size_t i = 0; i < 3000; ++i) {
      const double window = 0.5 - 0.5 * std::cos(2.0 * pi * static_cast<double>(i) / 3000.0);
      sum += window * first[700 + i] *
             std::polar(1.0, -2.0 * pi * k * static_cast<double>(i) / 3000.0);
    }
    (frequency > 1.95 && frequency < 3.05 ? inside : outside) += std::norm(sum);
  }
  EXPECT_LT(outside, 1e-4 * inside);
}

TEST(compute_recording, rounds_to_counts_of_24_bits) {
  PlaneWave loud = tone;
  loud.amplitude = 1e9;
  const Recording recorded = compute_recording(quiet_scene(loud, 18.0, 90.0));
  for (const std::vector<std::int32_t>& channel : recorded.samples) {
    EXPECT_THAT(channel,
                testing::Each(testing::AllOf(testing::Ge(-8388607), testing::Le(8388607))));
    EXPECT_THAT(channel, testing::IsSupersetOf({-8388607, 8388607}));
  }
}

TEST(compute_recording, gives_each_microphone_its_own_wind) {
  Scene scene;
  scene.noise = 500.0;
  const Recording recorded = compute_recording(scene);
  for (const std::size_t c : {0U, 1U, 2U}) {
    SCOPED_TRACE(c);
    const std::span<const std::int32_t> channel(recorded.samples.at(c));
    ASSERT_EQ(channel.size(), 64800U);
    EXPECT_NEAR(rms(channel), 500.0, 25.0);
    // Slow: neighbours are alike, samples ten seconds apart are not.
    EXPECT_GT(correlation(channel.subspan(1), channel.first(64799)), 0.7);
    EXPECT_LT(std::fabs(correlation(channel.subspan(180), channel.first(64620))), 0.1);
    EXPECT_LT(std::fabs(correlation(channel, recorded.samples.at((c + 1) % 3))), 0.1);
  }
}

TEST(compute_recording, starts_marks_at_minutes_5_and_35) {
  struct Row {
    std::string name;
    double start;  // seconds past 06:00
    double clock_error;
    std::vector<double> marks;  // seconds past the start
  };

  const std::vector<Row> table = {
      {"from the full hour", 0.0, 0.0, {300, 2100, 3900, 5700}},
      {"from minute 20", 1200.0, 0.0, {900, 2700, 4500, 6300}},
      {"from a mark on", 300.0, 0.0, {0, 1800, 3600, 5400}},
      {"a clock ahead", 0.0, 2.5, {302.5, 2102.5, 3902.5, 5702.5}},
      {"a clock behind by much", 0.0, -400.0, {1700, 3500, 5300, 7100}},
      {"to the nearest sample",
       0.0,
       0.04,
       {300 + 1 / 18.0, 2100 + 1 / 18.0, 3900 + 1 / 18.0, 5700 + 1 / 18.0}},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    Scene scene = quiet_scene({}, 18.0, 7200.0);
    scene.start += row.start;
    scene.clock_error = row.clock_error;
    const Recording recorded = compute_recording(scene);
    ASSERT_EQ(recorded.samples.size(), 4U);
    ASSERT_EQ(recorded.samples[3].size(), 129600U);
    std::vector<std::int32_t> expected(recorded.samples[3].size(), 0);
    for (const double mark : row.marks) {
      std::fill_n(expected.begin() + std::lround(mark * 18.0), 19, 400000);
    }
    EXPECT_TRUE(recorded.samples[3] == expected);
  }
}

TEST(compute_recording, shows_the_rest_of_a_mark_that_began_before) {
  Scene scene = quiet_scene({}, 18.0, 60.0);
  scene.start += 300.5;
  scene.clock_error = 0.0;
  const Recording recorded = compute_recording(scene);
  EXPECT_EQ(recorded.samples.at(3).at(9), 400000);
  EXPECT_EQ(recorded.samples.at(3).at(10), 0);
}

/// FNV-1a over all samples.
std::uint64_t fingerprint(const Recording& recorded) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const std::vector<std::int32_t>& channel : recorded.samples) {
    for (const std::int32_t sample : channel) {
      hash = (hash ^ static_cast<std::uint32_t>(sample)) * 0x100000001b3;
    }
  }
  return hash;
}

// With every compiler, at every optimisation level and with every standard library.
TEST(compute_recording, gives_the_same_samples_everywhere) {
  Scene scene;
  scene.waves = recording::demo_waves();
  constexpr std::uint64_t pinned = 0x40ffee0d5c41d7deU;
  EXPECT_EQ(fingerprint(compute_recording(scene)), pinned);
  scene.seed = 0x100000001;  // differs in its upper half alone
  EXPECT_NE(fingerprint(compute_recording(scene)), pinned);
}

TEST(write_ko24, can_be_read_back) {
  const support::TemporaryFolder folder;
  for (const int version : {0, 1, 2}) {
    for (const bool marks : {false, true}) {
      SCOPED_TRACE(testing::Message() << "version " << version << (marks ? " with marks" : ""));
      Scene scene;
      scene.sampling_frequency = 12.5;
      scene.length = 1200.04;
      scene.start = 1456812000.40625;
      scene.station = 7;
      if (marks) {
        scene.clock_error = 3.0;
      }
      const Recording recorded = compute_recording(scene);
      write_ko24(folder / "a.ko24", recorded, version);

      const auto series = KorLa::open_series(folder / "a.ko24", 0.0, false);
      ASSERT_NE(series, nullptr);
      EXPECT_EQ(series->samples, recorded.samples);
      EXPECT_EQ(series->start_time(), 1456812000.40625);
      EXPECT_EQ(int{series->header.version}, version);
      EXPECT_EQ(int{series->header.station}, 7);
      EXPECT_EQ(double{series->header.sampling_frequency}, 12.5);
      EXPECT_EQ(int{series->header.header_size}, 32 + 4 * version);
      ASSERT_EQ(series->channels.size(), recorded.samples.size());
      EXPECT_EQ(int{series->channels.back().index}, static_cast<int>(recorded.samples.size()) - 1);
      EXPECT_EQ(series->scaled_value(3, series->channels.back()), 30.0);

      // The reader puts the clock right, to the nearest sample.
      const auto nudged = KorLa::open_series(folder / "a.ko24", 0.0, true);
      EXPECT_NEAR(nudged->times.front() - series->times.front(), marks ? -3.0 : 0.0, 0.5 / 12.5);
    }
  }
}

TEST(write_ko24, carries_a_start_just_below_a_second) {
  const support::TemporaryFolder folder;
  Recording recorded{18.0, 99.9999999999, 0, {{1}}};
  write_ko24(folder / "a.ko24", recorded, 0);
  const auto series = KorLa::open_series(folder / "a.ko24", 0.0, false);
  EXPECT_EQ(std::uint32_t{series->header.start_sec}, 100U);
  EXPECT_EQ(std::uint32_t{series->header.start_nsec}, 0U);
}

TEST(write_ko24, names_the_file_that_it_can_not_write) {
  const support::TemporaryFolder folder;
  const Recording good{18.0, 0.0, 0, {{1, 2}}};

  struct Row {
    std::string path;
    Recording recorded;
    int version;
  };

  const std::vector<Row> table = {
      {folder / "missing/a.ko24", good, 1},
      {folder.path().string(), good, 1},
      {folder / "version", good, 3},
      {folder / "version", good, -1},
      {folder / "channels", {18.0, 0.0, 0, {}}, 1},
      {folder / "channels", {18.0, 0.0, 0, std::vector<std::vector<std::int32_t>>(256)}, 1},
      {folder / "start", {18.0, -0.5, 0, {{1}}}, 1},
      {folder / "start", {18.0, 4294967295.5, 0, {{1}}}, 1},
      {folder / "start", {18.0, std::nan(""), 0, {{1}}}, 1},
      {"/dev/full", good, 1},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(row.path);
    try {
      write_ko24(row.path, row.recorded, row.version);
      ADD_FAILURE() << "written all the same";
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), HasSubstr(row.path));
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(write_coordinates, writes_positions_in_the_order_of_the_channels) {
  const support::TemporaryFolder folder;
  recording::write_coordinates(folder / "a.coords", Scene().microphones);
  EXPECT_EQ(folder.read("a.coords"), "VQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n");
  recording::write_coordinates(folder / "b.coords", {{{0.1, 2.0}, {3.25, -4.0}, {1e-3, 6.0}}},
                               {3, 1, 2});
  EXPECT_EQ(folder.read("b.coords"), "VQS-FILE\n3 1 2\n0.001 6\n0.1 2\n3.25 -4\n");
  EXPECT_THROW(recording::write_coordinates(folder / "missing/c", {}), std::runtime_error);
}

}  // namespace
