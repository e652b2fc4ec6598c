// What the example recorder promises.

#include "tools/recording.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <span>
#include <string>
#include <vector>

#include "korla/korla_base.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

namespace {

using recording::compute_recording;
using recording::PlaneWave;
using recording::Recording;
using recording::Scene;
using recording::write_ko24;
using Counts = std::vector<std::int32_t>;
using Samples = std::span<const std::int32_t>;

constexpr double pi = std::numbers::pi;

/// A scene of one wave and no noise.
Scene quiet_scene(const PlaneWave& wave, double frequency, double length) {
  return {.sampling_frequency = frequency, .length = length, .waves = {wave}, .noise = 0};
}

/// Mean product of two stretches of one length.
double mean_product(Samples a, Samples b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    sum += static_cast<double>(a[i]) * b[i];
  }
  return sum / static_cast<double>(a.size());
}

double rms(Samples samples) {
  return std::sqrt(mean_product(samples, samples));
}

/// A tone's amplitude and phase in a stretch, under a window; `frequency` is in tones per sample.
std::complex<double> tone_in(Samples samples, double frequency) {
  std::complex<double> sum = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double turns = static_cast<double>(i) / static_cast<double>(samples.size());
    const double window = 0.5 - 0.5 * std::cos(2.0 * pi * turns);
    sum += window * samples[i] * std::polar(1.0, -2.0 * pi * frequency * static_cast<double>(i));
  }
  return sum;
}

/// Seconds by which a channel is behind channel 0 in four seconds of a 1 Hz tone at 18 Hz.
double tone_delay(const Recording& recorded, std::size_t late, double middle) {
  const auto phase = [&](std::size_t channel) {
    const auto first = static_cast<std::size_t>((middle - 2.0) * 18.0);
    return std::arg(tone_in(Samples(recorded.samples.at(channel)).subspan(first, 72), 1 / 18.0));
  };
  return std::remainder(phase(0) - phase(late), 2.0 * pi) / (2.0 * pi);
}

/// A tone of 1 Hz, in full from second 12 to 72.
PlaneWave tone(double azimuth, double turn, double amplitude) {
  return {azimuth, turn, 300.0, 2.0, 80.0, 1.0, 1.0, amplitude};
}

// Microphone 2 stands 75 m west of the first, microphone 3 as far south of it.
TEST(compute_recording, delays_a_wave_by_its_direction_which_turns_evenly) {
  for (const double start : {0.0, 30.0, 45.0, 135.0, 225.0, 315.0, -60.0}) {
    for (const double turn : {0.0, 0.5}) {
      PlaneWave wave = tone(start, turn, 1e6);
      wave.velocity = turn == 0 ? 300 : 450;
      const double most = 75 / wave.velocity;
      Scene scene = quiet_scene(wave, 18.0, 90.0);
      scene.microphones = {{{10.0, 20.0}, {-65.0, 20.0}, {10.0, -55.0}}};
      const Recording recorded = compute_recording(scene);
      const double tolerance = turn == 0 ? 1e-7 : 2e-4;
      for (const double age : {14.0, 40.0, 66.0}) {
        SCOPED_TRACE(testing::Message() << start << " + " << turn << " * " << age);
        const double azimuth = (start + turn * age) * pi / 180.0;
        EXPECT_NEAR(tone_delay(recorded, 1, 2 + age), most * std::sin(azimuth), tolerance);
        EXPECT_NEAR(tone_delay(recorded, 2, 2 + age), most * std::cos(azimuth), tolerance);
      }
    }
  }
}

TEST(compute_recording, keeps_a_wave_within_its_life_and_band) {
  const PlaneWave wave = {.velocity = 300, .start = 10, .length = 200, .low = 2, .high = 3};
  const Recording recorded = compute_recording(quiet_scene(wave, 20.0, 300.0));
  const Samples first(recorded.samples.at(0));
  const Samples late(recorded.samples.at(2));  // by a quarter of a second
  EXPECT_EQ(rms(first.first(201)) + rms(first.subspan(4200)), 0.0);
  EXPECT_EQ(rms(late.first(206)) + rms(late.subspan(4205)), 0.0);
  EXPECT_GT(rms(late.subspan(4195, 10)), 0.0);
  const Samples loud = first.subspan(700, 3000);
  EXPECT_NEAR(rms(loud), 1000.0, 50.0);
  std::array<double, 2> power = {};  // outside and within 1.95 to 3.05 Hz
  for (int k = 1; k < 1500; ++k) {
    power.at(k > 292 && k < 458 ? 1 : 0) += std::norm(tone_in(loud, k / 3000.0));
  }
  EXPECT_LT(power[0], 1e-4 * power[1]);
}

TEST(compute_recording, rounds_to_counts_of_24_bits) {
  const Counts channel = compute_recording(quiet_scene(tone(0, 0, 1e9), 18, 90)).samples.at(1);
  EXPECT_EQ(*std::min_element(channel.begin(), channel.end()), -8388607);
  EXPECT_EQ(*std::max_element(channel.begin(), channel.end()), 8388607);
}

TEST(compute_recording, gives_each_microphone_its_own_slow_wind) {
  const Recording recorded = compute_recording({.noise = 500.0});
  for (const std::size_t c : {0U, 1U, 2U}) {
    const Samples channel(recorded.samples.at(c));
    EXPECT_NEAR(rms(channel), 500.0, 25.0);
    EXPECT_GT(mean_product(channel.first(64799), channel.subspan(1)), 0.7 * 250000.0);
    EXPECT_LT(std::fabs(mean_product(channel, recorded.samples.at((c + 1) % 3))), 0.1 * 250000.0);
  }
}

TEST(compute_recording, starts_marks_at_minutes_5_and_35) {
  // The recording's start in seconds past 06:00, and the marks' starts in samples from there.
  const auto expect = [](double start, double clock_error, const std::vector<int>& marks) {
    Scene scene{.length = 7200.0, .start = 1456812000.0 + start, .clock_error = clock_error};
    Counts expected(129600);
    for (const int mark : marks) {
      const int end = std::min(mark + 19, 129600);
      std::fill(expected.begin() + std::max(mark, 0), expected.begin() + end, 400000);
    }
    EXPECT_TRUE(compute_recording(scene).samples.at(3) == expected) << start << ' ' << clock_error;
  };
  expect(0.0, 0.0, {5400, 37800, 70200, 102600});
  expect(300.5, 0.0, {-9, 32391, 64791, 97191, 129591});
  expect(0.0, 2.5, {5445, 37845, 70245, 102645});
  expect(0.0, 0.04, {5401, 37801, 70201, 102601});  // to the nearest sample
}

// With every compiler, at every optimisation level and with every standard library.
TEST(compute_recording, gives_the_same_samples_everywhere) {
  const auto hash = [](std::uint64_t seed) {
    const Scene scene{.waves = recording::demo_waves(), .seed = seed};
    Counts all;
    for (const Counts& channel : compute_recording(scene).samples) {
      all.insert(all.end(), channel.begin(), channel.end());
    }
    return support::fingerprint(all);
  };
  EXPECT_EQ(hash(1), 0x40ffee0d5c41d7deU);
  EXPECT_NE(hash(0x100000001), 0x40ffee0d5c41d7deU);  // differs in its upper half alone
}

TEST(write_ko24, writes_headers_and_marks_that_the_reader_understands) {
  const support::TemporaryFolder folder;
  const std::string path = folder / "a.ko24";
  for (const int version : {0, 1, 2}) {
    write_ko24(path, compute_recording({.sampling_frequency = 12.5, .clock_error = 3.0}), version);
    const auto series = KorLa::open_series(path, 0.0, false);
    EXPECT_EQ(int{series->header.header_size}, 32 + 4 * version);
    EXPECT_EQ(int{series->channels.at(3).index}, 3);
    EXPECT_EQ(series->scaled_value(3, series->channels[3]), 30.0);
    // The reader puts the clock right, to the nearest sample.
    const auto nudged = KorLa::open_series(path, 0.0, true);
    EXPECT_NEAR(nudged->times.front() - series->times.front(), -3.0, 0.5 / 12.5);
  }
  write_ko24(path, {18.0, 99.9999999999, 0, {{1}}}, 0);
  EXPECT_EQ(std::uint32_t{KorLa::open_series(path, 0.0, false)->header.start_sec}, 100U);
}

TEST(write_ko24, names_the_file_that_it_can_not_write) {
  const support::TemporaryFolder folder;
  const auto error = [](const std::string& path, int version) {
    return support::failure([&] { write_ko24(path, {18.0, 0.0, 0, {{1, 2}}}, version); });
  };
  const std::string path = folder / "missing/a";
  EXPECT_EQ(error(path, 1), "Can't write " + path + ": No such file or directory");
  EXPECT_EQ(error("/dev/full", 1), "Can't write /dev/full: No space left on device");
  EXPECT_EQ(error(path, 3), "Can't write " + path + ": no ko24 version 3");
  EXPECT_EQ(error(path, -1), "Can't write " + path + ": no ko24 version -1");
}

TEST(write_coordinates, writes_positions_in_the_order_of_the_channels) {
  const support::TemporaryFolder folder;
  recording::write_coordinates(folder / "b", {{{0.1, 2}, {3.25, -4}, {1e-3, 6}}}, {3, 1, 2});
  EXPECT_EQ(folder.read("b"), "VQS-FILE\n3 1 2\n0.001 6\n0.1 2\n3.25 -4\n");
}

}  // namespace
