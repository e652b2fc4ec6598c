// What the example recorder promises.

#include "tools/recording.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
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

/// Root mean square of a channel from one second at 18 Hz to another.
double rms(const Counts& channel, std::size_t from, std::size_t to) {
  double sum = 0;
  for (std::size_t i = 18 * from; i < 18 * to; ++i) {
    sum += static_cast<double>(channel.at(i)) * channel[i];
  }
  return std::sqrt(sum / static_cast<double>(18 * (to - from)));
}

// How they sound otherwise is up to gives_the_same_samples_everywhere, and to the analysis, which
// finds the directions and velocities that were asked for.
TEST(compute_recording, is_as_loud_as_the_scene_says) {
  const PlaneWave wave = {.start = 100, .length = 800, .amplitude = 3000};
  const Recording waves = compute_recording({.length = 1000, .waves = {wave}, .noise = 0});
  const Recording wind = compute_recording({.noise = 500});
  for (const std::size_t c : {0U, 1U, 2U}) {
    EXPECT_NEAR(rms(waves.samples.at(c), 200, 800), 3000, 150);
    EXPECT_EQ(rms(waves.samples[c], 0, 99) + rms(waves.samples[c], 901, 1000), 0);
    EXPECT_NEAR(rms(wind.samples.at(c), 0, 3600), 500, 25);
  }
}

TEST(compute_recording, rounds_to_counts_of_24_bits) {
  const PlaneWave tone = {.low = 1, .high = 1, .amplitude = 1e9};
  const Counts channel = compute_recording({.length = 60, .waves = {tone}}).samples.at(1);
  EXPECT_EQ(*std::min_element(channel.begin(), channel.end()), -8388607);
  EXPECT_EQ(*std::max_element(channel.begin(), channel.end()), 8388607);
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
