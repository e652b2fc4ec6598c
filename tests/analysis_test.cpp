// The analysis of whole files: windows, joining, lag range, coordinates, and what it makes of
// sound.

#include "src/analysis.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

#include "src/spectrum.h"

namespace {

using tavrik::array_geometry;
using enum tavrik::Direction;
using tavrik::Direction;
using tavrik::ResultRecord;
using tavrik::settings;
using testing::HasSubstr;
using testing::StartsWith;

using Channels = std::vector<std::vector<std::int32_t>>;
using Records = std::vector<ResultRecord>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint32_t start = 1456812000;  // 06:00 of its day

/// Samples that are noise; the same in every run.
Channels noise(std::size_t n_samples, std::size_t n_channels = 3) {
  std::mt19937_64 generator(n_samples);
  Channels channels(n_channels, std::vector<std::int32_t>(n_samples));
  for (std::vector<std::int32_t>& channel : channels) {
    for (std::int32_t& sample : channel) {
      sample = static_cast<std::int32_t>(generator() % 20001) - 10000;
    }
  }
  return channels;
}

/// The fixture is named after the function under test.
class analyse : public FreshState {
 protected:
  analyse() {
    settings.quiet = true;
    set_windows(8, 8);
  }

  static void set_windows(std::size_t length, int step) {
    settings.clength = length;
    settings.cstep = step;
  }

  std::string write(const std::string& name, const Channels& channels, double frequency = 8,
                    double after_start = 0) {
    support::Ko24Fields fields;
    fields.n_channels = static_cast<std::uint8_t>(channels.size());
    fields.sampling_frequency = frequency;
    const double whole = std::floor(after_start);
    fields.start_sec = static_cast<std::uint32_t>(start + whole);
    fields.start_nsec = static_cast<std::uint32_t>((after_start - whole) * 1e9);
    support::Ko24File file(fields);
    return folder.write(name,
                        channels.empty() ? file.bytes() : file.add_channels(channels).bytes());
  }

  /// Analyses files as one run; `said` is what was written to the error stream.
  Records run(const std::vector<std::string>& files) {
    support::CapturedStderr captured;
    tavrik::ResultSeries series;
    status = exit_status([&] { tavrik::analyse(files, series); });
    said = captured.take();
    return series.records;
  }

  support::TemporaryFolder folder;
  int status = -1;
  std::string said;
};

TEST_F(analyse, takes_windows_in_the_range_that_end_before_the_last_sample) {
  const struct {
    std::size_t n_samples, length;
    int step;
    double from, to;
    std::size_t windows;
    double first;
  } table[] = {{0, 8, 8, 0, 9, 0, 0},      {8, 8, 8, 0, 9, 0, 0},   {9, 8, 8, 0, 9, 1, 0},
               {16, 8, 8, 0, 9, 1, 0},     {17, 8, 8, 0, 9, 2, 0},  {17, 8, 1, 0, 9, 9, 0},
               {17, 8, 3, 0, 9, 3, 0},     {18, 8, 3, 0, 9, 4, 0},  {17, 8, 512, 0, 9, 1, 0},
               {521, 512, 8, 0, 9, 2, 0},  {240, 8, 8, 2, 5, 3, 2}, {240, 8, 8, 2.01, 5.01, 3, 3},
               {240, 8, 8, -9, 99, 29, 0}, {240, 8, 8, 8, 8, 0, 0}, {240, 8, 8, 20, 90, 9, 20}};

  settings.range_set = true;
  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    set_windows(row.length, row.step);
    settings.range_t0 = start + row.from;
    settings.range_t1 = start + row.to;
    const Records records = run({write("a.ko24", noise(row.n_samples))});
    EXPECT_EQ(said.empty(), row.n_samples > row.length) << said;
    ASSERT_EQ(records.size(), row.windows);
    for (std::size_t w = 0; w < records.size(); ++w) {
      EXPECT_EQ(records[w].time, start + row.first + static_cast<double>(w) * row.step / 8);
    }
  }
  // Behind the range the run is over, whatever a later file's clock says.
  settings.range_t0 = start - 1000;
  settings.range_t1 = start + 5;
  const Records records = run({write("a.ko24", noise(240)), write("b.ko24", noise(80), 8, -100)});
  EXPECT_EQ(records.size(), 5U);
}

// Two files of 10 s each at 8 Hz; the window at sample 72 has half of its 16 samples in each.
TEST_F(analyse, skips_windows_with_a_hole_and_tells_of_long_ones) {
  const struct {
    double gap;
    std::size_t windows;
    const char* warning;
  } table[] = {{0.125, 18, ""},
               {0.25, 17, ""},
               {5, 17, ""},
               {5.5, 17, "\nWARNING: hole in data 5.5 seconds\n\n"},
               {-3, 18, ""}};

  set_windows(16, 8);
  const std::string first = write("a.ko24", noise(80));
  for (const auto& row : table) {
    SCOPED_TRACE(row.gap);
    const Records records = run({first, write("b.ko24", noise(80), 8, 10 + row.gap)});
    EXPECT_EQ(said, row.warning);
    ASSERT_EQ(records.size(), row.windows);
    EXPECT_EQ(records[8].time, start + 8);
    EXPECT_EQ(records[9].time, start + (row.windows == 17 ? 10 + row.gap : 9));
  }
}

TEST_F(analyse, goes_on_by_the_window_where_times_do_not_increase) {
  const Records records = run({write("a.ko24", noise(80)), write("b.ko24", noise(80), 8, -100),
                               write("c.ko24", noise(80), 8, 3)});
  ASSERT_EQ(records.size(), 29U);
  for (const auto& [window, time] :
       {std::pair{9U, 9}, {10U, 19}, {26U, 35}, {27U, 10}, {28U, 11}}) {
    EXPECT_EQ(records[window].time, start + time);
  }
}

TEST_F(analyse, derives_the_lags_from_the_first_files_frequency) {
  settings.quiet = false;
  const std::string later = write("b.ko24", noise(9), 18);
  for (const auto& [frequency, lag] :
       {std::pair{20.0, 18U}, {1.6875, 2U}, {0.5625, 1U}, {73727.0, 65535U}}) {
    run({write("a.ko24", noise(9), frequency), later});
    EXPECT_EQ(tavrik::correlation.max_lag, lag);
    EXPECT_THAT(said,
                HasSubstr("\nSetting maxdelay to " + std::to_string(lag) + ". Default was 16.\n"));
    EXPECT_EQ(said.find("Setting"), said.rfind("Setting"));
  }
  for (const double frequency : {0.5, 73728.0, 1e300}) {
    run({write("a.ko24", noise(9), frequency)});
    EXPECT_EQ(status, 1);
    EXPECT_THAT(said, testing::ContainsRegex("\nError: maxdelay out of range 2 < [^ ]+ < 255\n$"));
  }
  settings.maxdelay_auto = false;
  run({write("a.ko24", noise(9), 1e9)});
  EXPECT_EQ(tavrik::correlation.max_lag, 16U);
}

TEST_F(analyse, needs_a_sampling_frequency) {
  for (const double frequency : {0.0, -18.0, nan, inf}) {
    SCOPED_TRACE(frequency);
    EXPECT_EQ(run({write("a.ko24", noise(300), frequency)}).size(), 0U);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(said, "Can't determine sample frequency\n");
  }
  const std::string skipped = "WARNING: can't read " + (folder / "none") + ", skipping it\n";
  run({folder / "none"});
  EXPECT_EQ(said, skipped + "Can't determine sample frequency\n");
  const std::string later = write("b.ko24", noise(40), 20, 6);
  EXPECT_EQ(run({folder / "none", write("a.ko24", noise(41)), later}).size(), 9U);
  EXPECT_EQ(said, skipped + "WARNING: " + later + " has 20 samples/s, the run has 8\n");
}

TEST_F(analyse, uses_the_first_three_of_the_channels_and_no_part_of_a_sample) {
  settings.write_az = true;
  const Channels five = noise(41, 5);
  const auto write_first = [&](std::ptrdiff_t n) {
    return write("a.ko24", Channels(five.begin(), five.begin() + n));
  };
  const std::string path = write_first(3);
  EXPECT_EQ(run({path, path}).size(), 10U);
  EXPECT_EQ(said, "");
  const std::string expected = folder.read("a.az");
  folder.write("a.ko24", folder.read("a.ko24") + "\1\2\3\4\5\6\7\10");
  run({path, path});
  EXPECT_EQ(folder.read("a.az"), expected);
  write_first(5);
  run({path, path});
  EXPECT_EQ(folder.read("a.az"), expected);
  EXPECT_THAT(said, StartsWith("WARNING: More than 3 channels (5). Using channels 0, 1 & 2\n"));
  for (const std::ptrdiff_t n : {1, 2}) {
    write_first(n);
    EXPECT_THAT([&] { run({path}); },
                testing::ThrowsMessage<std::runtime_error>(
                    path + " has too few channels (" + std::to_string(n) + "), 3 are needed\n"));
  }
}

// Sums of squares of unit variance are one less than the samples.
TEST_F(analyse, correlates_a_channel_with_itself_in_full_and_with_a_dead_one_not_at_all) {
  set_windows(64, 64);
  settings.write_az = true;
  settings.maxdelay_auto = false;
  const Channels same(3, noise(129, 1)[0]);
  constexpr double full = 63.0 / (4 * 2 * 16);
  EXPECT_NEAR(run({write("a.ko24", same)}).at(1).cprod, full * full * full, 1e-12);
  EXPECT_NEAR(tavrik::correlation.crn[1].at(16), 1, 1e-12);
  const auto steady = [](int sample) { return std::vector<std::int32_t>(129, sample); };
  EXPECT_EQ(run({write("b.ko24", {steady(3), steady(-6), steady(12)})}).at(0).amp, 7);
  for (std::size_t dead = 0; dead < 3; ++dead) {
    SCOPED_TRACE(dead);
    Channels channels = same;
    channels[dead] = steady(5000);
    for (const ResultRecord& record : run({write("a.ko24", channels)})) {
      EXPECT_NEAR(record.cmax12, dead == 2 ? full : 0, 1e-12);
      EXPECT_NEAR(record.cmax13, dead == 1 ? full : 0, 1e-12);
      EXPECT_NEAR(record.cmax23, dead == 0 ? full : 0, 1e-12);
      EXPECT_NEAR(record.cmax, full, 1e-12);
      EXPECT_EQ(record.quality, 0);
    }
    EXPECT_EQ(said, "");
  }
}

// A power of two as a factor changes no bit but the exponents'; an offset drowns in the mean.
TEST_F(analyse, takes_loudness_from_the_raw_samples_and_nothing_else) {
  set_windows(64, 64);
  const Channels plain = noise(641);
  const auto run_changed = [&](int factor, int offset) {
    Channels channels = plain;
    for (std::vector<std::int32_t>& channel : channels) {
      for (std::int32_t& sample : channel) {
        sample = factor * sample + offset;
      }
    }
    return run({write("a.ko24", channels)}).at(9);
  };
  tavrik::Spectrum spectrum(64);
  std::vector<double> magnitudes(8);
  for (std::size_t c = 0; c < 3; ++c) {
    spectrum.set_channel(c, plain[c].data() + std::ptrdiff_t{64} * 9);
  }
  spectrum.transform();
  spectrum.average_magnitudes(magnitudes);
  for (const bool normalised : {true, false}) {
    SCOPED_TRACE(normalised);
    settings.normalize = normalised;
    const ResultRecord record = run_changed(1, 0);
    EXPECT_EQ(record.slope, tavrik::line_fit(magnitudes).slope);
    const ResultRecord louder = run_changed(8, 0);
    const double factor = normalised ? 1 : 64;
    EXPECT_EQ(louder.az, record.az);
    EXPECT_EQ(louder.vel2, record.vel2);
    EXPECT_EQ(louder.amp, 8 * record.amp);
    EXPECT_EQ(louder.cmax, factor * record.cmax);
    EXPECT_EQ(louder.quality, factor * factor * factor * record.cprod * louder.amp);
    const ResultRecord higher = run_changed(1, 50000);
    EXPECT_GT(higher.amp, 40000);
    EXPECT_NEAR(higher.slope, record.slope, 1e-6 * std::fabs(record.slope));
    EXPECT_EQ(std::fabs(higher.cmax - record.cmax) < 1e-9, normalised);
  }
}

TEST_F(analyse, looks_for_coordinates_beside_the_data) {
  settings.quiet = false;
  const std::string data = write("a.ko24", noise(9));
  const std::string missing =
      "No coord.dat-file, using defaults\nVQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n";
  const auto write_triangle = [this](const char* name, int x) {
    return folder.write(name, "h\n1 2 3\n0 0\n-" + std::to_string(x) + " 1\n0 -80\n");
  };
  const auto expect = [&](const std::string& start_of_said, double microphone_2) {
    run({data});
    EXPECT_THAT(said, StartsWith(start_of_said));
    EXPECT_EQ(array_geometry.pos[1].x, microphone_2);
  };
  expect(missing + missing + "\n75:270.000057", -75);
  const std::string shared = write_triangle("coord.dat", 60);
  expect(missing + "Coord-file: " + shared + "\n", -60);
  const std::string own = write_triangle("a.coords", 70);
  expect("Coord-file: " + own + "\n", -70);
  run({data, write("b.ko24", noise(9), 8, 2)});
  EXPECT_EQ(array_geometry.pos[1].x, -60) << "the last file's triangle serves the run";
  settings.coord_loaded = true;
  settings.coord_file = write_triangle("far.txt", 99);
  expect("Coord-file: " + settings.coord_file + "\n", -99);
  settings.coord_file = folder / "none";
  expect(missing + "\n75:270.000057", -75);
  settings.coord_file = folder.write("line", "h\n1 2 3\n0 0\n-80 0.01\n-160 0\n");
  run({data});
  EXPECT_THAT(said,
              HasSubstr("WARNING: the microphones stand in a line: directions are ambiguous\n"));
}

TEST_F(analyse, never_overwrites_what_it_reads) {
  settings.write_az = true;
  const std::string path = write("a.az", noise(300));
  const std::string before = folder.read("a.az");
  run({path});
  EXPECT_THAT(said, HasSubstr("Can't open " + path + "\n"));
  EXPECT_EQ(folder.read("a.az"), before);
}

TEST_F(analyse, gives_the_same_bytes_for_one_file_and_for_its_parts) {
  settings.write_az = settings.partial = settings.lltmp = settings.crn = true;
  settings.comment = settings.histogram = true;
  set_windows(128, 50);
  const Channels whole = noise(1920);
  Channels first = whole;
  Channels second = whole;
  for (std::size_t c = 0; c < 3; ++c) {
    first[c].resize(1001);
    second[c].erase(second[c].begin(), second[c].begin() + 1001);
  }
  run({write("whole.ko24", whole, 16)});
  run({write("first.ko24", first, 16), write("second.ko24", second, 16, 1001.0 / 16)});
  EXPECT_EQ(said, "");
  for (const std::string extension : {"az", "caz", "part", "lltmp", "crn", "hst"}) {
    const std::string expected = folder.read("whole." + extension);
    EXPECT_GT(expected.size(), 500U) << extension;
    EXPECT_TRUE(folder.read("first." + extension) == expected) << extension;
  }
}

// Waves far louder than the wind. From due east or west, where microphones 1 and 3 hear the wave at
// once, `new` and `weighted` know the line that it came along but not always from which end; `old`
// does. vel2, without pair 23 and without a quotient, is good from everywhere, but in proportion to
// the distance from microphone 1 to 2 while the wave goes from 1 to 3; vel of `new` is good only
// where no pair hears the wave at once. That of `old` is in metres per sample, times 2 pi.
TEST_F(analyse, gives_plane_waves_back_and_turns_those_of_clockwise_microphones) {
  constexpr double speed = 340;
  set_windows(128, 32);
  recording::Scene scene;
  scene.length = 70;
  scene.noise = 10;
  settings.range_set = true;  // where the wave is in full
  settings.range_t0 = scene.start + 13;
  settings.range_t1 = scene.start + 57 - 128 / 18.0;
  for (const double azimuth : {20.0, 0.0, 15.0, 45.0, 52.5, 90.0, 101.0, 135.0, 165.0, 180.0, 199.9,
                               225.0, 270.0, 283.3, 315.0, 352.4}) {
    const bool clockwise = azimuth == 20;
    const double stretch = azimuth == 0 ? 1.2 : 1;
    recording::Scene heard = scene;
    heard.microphones[1].x *= stretch;
    if (clockwise) {
      std::swap(heard.microphones[1], heard.microphones[2]);
    }
    heard.waves = {
        {.azimuth = azimuth, .velocity = speed, .start = 5, .length = 60, .low = 2, .high = 6}};
    recording::write_coordinates(folder / "wave.coords", heard.microphones);
    recording::write_ko24(folder / "wave.ko24", recording::compute_recording(heard), 1);
    for (const Direction method : {new_method, weighted_method, old_method}) {
      SCOPED_TRACE(testing::Message() << azimuth << " by " << static_cast<int>(method));
      settings.secondary_direction = method;
      const Records records = run({folder / "wave.ko24"});
      EXPECT_GE(records.size(), 20U);
      EXPECT_EQ(
          said.find(
              "WARNING: microphones 1, 2, 3 go clockwise: azimuths are turned by 180 degrees\n") !=
              std::string::npos,
          clockwise);
      for (const ResultRecord& record : records) {
        const double found = clockwise ? record.az - 180 : record.az;
        const double error = std::fabs(std::remainder(found - azimuth, 360));
        const bool any_end = method != old_method && std::fmod(azimuth, 180) == 90;
        EXPECT_TRUE(error < 1.5 || (any_end && error > 178.5)) << record.az;
        EXPECT_NEAR(record.vel2, stretch * speed, 0.03 * speed);
        if (method == new_method && std::fmod(azimuth, 90) != 0 && std::fmod(azimuth, 180) != 45) {
          EXPECT_NEAR(record.vel, speed, 0.03 * speed);
        } else if (method == old_method && !clockwise) {
          EXPECT_NEAR(record.vel / (2 * std::numbers::pi * speed / 18), 1, 0.03);
        }
      }
    }
  }
}

}  // namespace
