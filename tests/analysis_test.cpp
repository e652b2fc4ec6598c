// The analysis of whole files: windows, joining, lag range, coordinates, and what it makes of
// sound.

#include "src/analysis.h"

#include <cmath>
#include <filesystem>
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

using support::Ko24Fields;
using support::Ko24File;
using tavrik::array_geometry;
using tavrik::Direction;
using tavrik::ResultRecord;
using tavrik::settings;
using testing::HasSubstr;
using testing::Not;

using Paths = std::vector<std::string>;
using Channels = std::vector<std::vector<std::int32_t>>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint32_t start = 1456812000;  // 06:00 of its day

/// The fixture is named after the function under test.
class analyse : public FreshState {
 protected:
  analyse() { settings.quiet = true; }

  /// Samples that are noise; the same in every run.
  static Channels noise(std::size_t n_samples, std::size_t n_channels = 3) {
    std::mt19937_64 generator(n_samples);
    Channels channels(n_channels, std::vector<std::int32_t>(n_samples));
    for (std::vector<std::int32_t>& channel : channels) {
      for (std::int32_t& sample : channel) {
        sample = static_cast<std::int32_t>(generator() % 20001) - 10000;
      }
    }
    return channels;
  }

  std::string write(const std::string& name, const Channels& channels, double frequency = 8,
                    double time = start) {
    Ko24Fields fields;
    fields.n_channels = static_cast<std::uint8_t>(channels.size());
    fields.sampling_frequency = frequency;
    fields.start_sec = static_cast<std::uint32_t>(time);
    fields.start_nsec = static_cast<std::uint32_t>((time - fields.start_sec) * 1e9);
    Ko24File file(fields);
    return folder.write(name,
                        channels.empty() ? file.bytes() : file.add_channels(channels).bytes());
  }

  /// Analyses files as one run; `said` is what was written to the error stream.
  std::vector<ResultRecord> run(const Paths& files) {
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

TEST_F(analyse, takes_windows_that_end_before_the_last_sample) {
  struct Row {
    std::size_t n_samples, length;
    int step;
    std::size_t windows;
  };

  const std::vector<Row> table = {
      {0, 8, 8, 0},  {7, 8, 8, 0},    {8, 8, 8, 0},     {9, 8, 8, 1},
      {16, 8, 8, 1}, {17, 8, 8, 2},   {17, 8, 1, 9},    {17, 8, 3, 3},
      {18, 8, 3, 4}, {17, 8, 512, 1}, {129, 128, 1, 1}, {521, 512, 8, 2},
  };
  for (const Row& row : table) {
    SCOPED_TRACE(testing::Message() << row.n_samples << " -l" << row.length << " -s" << row.step);
    settings.clength = row.length;
    settings.cstep = row.step;
    const auto records = run({write("a.ko24", noise(row.n_samples))});
    ASSERT_EQ(records.size(), row.windows);
    for (std::size_t w = 0; w < records.size(); ++w) {
      EXPECT_EQ(records[w].time, start + static_cast<double>(w) * row.step / 8);
    }
  }
}

// Two files of 10 s each at 8 Hz; the window at sample 72 has half of its 16 samples in each.
TEST_F(analyse, skips_windows_with_a_hole_and_tells_of_long_ones) {
  struct Row {
    double gap;
    std::size_t windows;
    const char* warning;
  };

  const char* hole = "\nWARNING: hole in data 5.5 seconds\n\n";
  const Row table[] = {{0.125, 18, ""}, {0.25, 17, ""}, {5, 17, ""}, {5.5, 17, hole}, {-3, 18, ""}};
  settings.clength = 16;
  settings.cstep = 8;
  const std::string first = write("a.ko24", noise(80));
  for (const Row& row : table) {
    SCOPED_TRACE(row.gap);
    const auto records = run({first, write("b.ko24", noise(80), 8, start + 10 + row.gap)});
    EXPECT_EQ(said, row.warning);
    ASSERT_EQ(records.size(), row.windows);
    if (row.windows == 17) {
      EXPECT_EQ(records[8].time, start + 8);
      EXPECT_EQ(records[9].time, start + 10 + row.gap);
    }
  }
}

TEST_F(analyse, goes_on_by_the_window_where_times_do_not_increase) {
  settings.clength = settings.cstep = 8;
  const auto records = run({write("a.ko24", noise(80)), write("b.ko24", noise(80), 8, start - 100),
                            write("c.ko24", noise(80), 8, start + 3)});
  ASSERT_EQ(records.size(), 29U);
  for (const auto& [window, time] :
       {std::pair{9U, 9}, {10U, 19}, {26U, 35}, {27U, 10}, {28U, 11}}) {
    EXPECT_EQ(records[window].time, start + time);
  }
}

TEST_F(analyse, keeps_to_the_time_range) {
  struct Row {
    double from, to;
    std::size_t windows;
    double first;
  };

  const std::vector<Row> table = {
      {2, 5, 3, 2}, {2.01, 5.01, 3, 3}, {-100, 100, 29, 0},
      {8, 8, 0, 0}, {-100, 0, 0, 0},    {20, 90, 9, 20},
  };
  settings.clength = settings.cstep = 8;
  settings.range_set = true;
  const std::string path = write("a.ko24", noise(240));
  for (const Row& row : table) {
    SCOPED_TRACE(testing::Message() << row.from << " to " << row.to);
    settings.range_t0 = start + row.from;
    settings.range_t1 = start + row.to;
    const auto records = run({path});
    ASSERT_EQ(records.size(), row.windows);
    if (!records.empty()) {
      EXPECT_EQ(records[0].time, start + row.first);
    }
  }
  // Behind the range the run is over, whatever a later file's clock says.
  settings.range_t0 = start - 1000;
  settings.range_t1 = start + 5;
  EXPECT_EQ(run({path, write("b.ko24", noise(80), 8, start - 100)}).size(), 5U);
}

TEST_F(analyse, derives_the_lags_from_the_first_files_frequency) {
  const std::pair<double, std::size_t> table[] = {
      {20, 18}, {1.6875, 2}, {0.5625, 1}, {73727, 65535}};
  settings.quiet = false;
  for (const auto& [frequency, lag] : table) {
    SCOPED_TRACE(frequency);
    run({write("a.ko24", noise(9), frequency), write("b.ko24", noise(9), 18)});
    EXPECT_EQ(tavrik::correlation.max_lag, lag);
    EXPECT_THAT(said,
                HasSubstr("\nSetting maxdelay to " + std::to_string(lag) + ". Default was 16.\n"));
    EXPECT_EQ(said.find("Setting"), said.rfind("Setting"));
  }
  for (const double frequency : {0.5, 5e-324, 73728.0, 1e300}) {
    SCOPED_TRACE(frequency);
    run({write("a.ko24", noise(9), frequency)});
    EXPECT_EQ(status, 1);
    EXPECT_THAT(said, testing::ContainsRegex("\nError: maxdelay out of range 2 < [^ ]+ < 255\n$"));
  }
  settings.maxdelay_auto = false;
  run({write("a.ko24", noise(9), 1e9)});
  EXPECT_EQ(tavrik::correlation.max_lag, 16U);
  EXPECT_THAT(said, Not(HasSubstr("maxdelay")));
}

TEST_F(analyse, needs_a_sampling_frequency) {
  for (const bool derived : {true, false}) {
    settings.maxdelay_auto = derived;
    for (const double frequency : {0.0, -0.0, -18.0, nan, -nan, inf, -inf}) {
      SCOPED_TRACE(frequency);
      EXPECT_EQ(run({write("a.ko24", noise(300), frequency)}).size(), 0U);
      EXPECT_EQ(status, 1);
      EXPECT_EQ(said, "Can't determine sample frequency\n");
    }
  }
  EXPECT_EQ(run({folder / "none", folder.path().string()}).size(), 0U);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(said, "WARNING: can't read " + (folder / "none") +
                      ", skipping it\nWARNING: can't read " + folder.path().string() +
                      ", skipping it\nCan't determine sample frequency\n");
}

TEST_F(analyse, joins_the_files_that_it_can_read) {
  settings.clength = settings.cstep = 8;
  settings.write_az = true;
  const auto records = run({folder / "none", write("a.ko24", noise(41)), folder / "nor.this",
                            write("b.ko24", noise(40), 20, start + 6)});
  EXPECT_THAT(said, testing::MatchesRegex("WARNING: can't read .*none.*\nWARNING: can't read "
                                          ".*nor.this.*\nWARNING: .*b.ko24 has 20 samples/s.*\n"));
  EXPECT_EQ(records.size(), 9U);  // the one across both has a hole
  EXPECT_TRUE(std::filesystem::exists(folder / "a.az"));
  EXPECT_FALSE(std::filesystem::exists(folder / "b.az"));
}

TEST_F(analyse, uses_the_first_three_of_the_channels) {
  settings.clength = settings.cstep = 16;
  settings.write_az = true;
  const Channels five = noise(100, 5);
  std::vector<std::string> lines;
  for (const std::ptrdiff_t n : {3, 4, 5}) {
    run({write("a.ko24", Channels(five.begin(), five.begin() + n))});
    EXPECT_EQ(said, n == 3 ? ""
                           : "WARNING: More than 3 channels (" + std::to_string(n) +
                                 "). Using channels 0, 1 & 2\n");
    lines.push_back(folder.read("a.az"));
  }
  EXPECT_EQ(std::count(lines[0].begin(), lines[0].end(), '\n'), 6);
  EXPECT_EQ(lines[1], lines[0]);
  EXPECT_EQ(lines[2], lines[0]);

  for (const std::ptrdiff_t n : {0, 1, 2}) {
    const std::string path = write("few.ko24", Channels(five.begin(), five.begin() + n));
    EXPECT_THAT([&] { run({path}); }, testing::ThrowsMessage<std::runtime_error>(testing::AllOf(
                                          HasSubstr(path), HasSubstr(std::to_string(n)))));
  }
}

TEST_F(analyse, takes_no_part_of_a_sample) {
  settings.clength = settings.cstep = 8;
  settings.write_az = true;
  const std::string whole = write("whole.ko24", noise(41));
  const std::string more =
      folder.write("more.ko24", folder.read("whole.ko24") + "\1\2\3\4\5\6\7\10");
  EXPECT_EQ(run({whole, whole}).size(), 10U);
  EXPECT_EQ(run({more, more}).size(), 10U);
  EXPECT_EQ(folder.read("more.az"), folder.read("whole.az"));
}

// Sums of squares of unit variance are one less than the samples.
TEST_F(analyse, correlates_a_channel_with_itself_in_full) {
  settings.clength = settings.cstep = 64;
  settings.maxdelay_auto = false;
  const Channels one = noise(129, 1);
  for (const ResultRecord& record : run({write("a.ko24", {one[0], one[0], one[0]})})) {
    constexpr double full = 63.0 / (4 * 2 * 16);
    EXPECT_NEAR(record.cmax12, full, 1e-12);
    EXPECT_NEAR(record.cmax23, full, 1e-12);
    EXPECT_NEAR(record.cprod, full * full * full, 1e-12);
    EXPECT_NEAR(tavrik::correlation.crn[1].at(16), 1, 1e-12);
  }
}

TEST_F(analyse, works_with_lags_beyond_the_window) {
  settings.maxdelay_auto = false;
  settings.maxdelay = 255;
  settings.clength = settings.cstep = 8;
  const auto records = run({write("a.ko24", noise(81))});
  EXPECT_EQ(records.size(), 10U);
  const tavrik::Correlation& correlation = tavrik::correlation;
  for (const tavrik::PairSeries* series : {&correlation.crs, &correlation.crn}) {
    for (std::size_t k = 0; k < 511; ++k) {
      const bool overlap = k > 255 - 8 && k < 255 + 8;
      EXPECT_EQ((*series)[0].at(k) != 0, overlap) << k;
    }
  }
}

TEST_F(analyse, takes_dead_channels_for_no_lag) {
  settings.clength = settings.cstep = 64;
  settings.write_az = true;
  for (std::size_t dead = 0; dead < 3; ++dead) {
    SCOPED_TRACE(dead);
    Channels channels = noise(129);
    channels[dead].assign(129, 5000);
    for (const ResultRecord& record : run({write("a.ko24", channels)})) {
      EXPECT_EQ(record.cmax12 == 0, dead != 2);
      EXPECT_EQ(record.cmax13 == 0, dead != 1);
      EXPECT_EQ(record.cmax23 == 0, dead != 0);
      EXPECT_GT(record.cmax, 0);
      EXPECT_EQ(record.quality, 0);
    }
    EXPECT_EQ(said, "");
  }
  EXPECT_THAT(folder.read("a.az"), testing::ContainsRegex(" 0.000001 0.000001 [^ ]+\n"));

  settings.primary_direction = Direction::weighted_method;
  settings.histogram = true;
  const auto records = run({write("b.ko24", Channels(3, std::vector<std::int32_t>(129, 7)))});
  EXPECT_TRUE(std::isnan(records.at(0).az));
  EXPECT_THAT(folder.read("b.hst"), testing::MatchesRegex("(0 0. 0. 0.\n)+"));
}

// A power of two as a factor changes no bit but the exponents'; an offset drowns in the mean.
TEST_F(analyse, takes_loudness_from_the_raw_samples_and_nothing_else) {
  settings.clength = settings.cstep = 64;
  const Channels plain = noise(641);
  Channels loud = plain;
  Channels high = plain;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = 0; i < plain[c].size(); ++i) {
      loud[c][i] *= 8;
      high[c][i] += 50000;
    }
  }
  for (const bool normalised : {true, false}) {
    SCOPED_TRACE(normalised);
    settings.normalize = normalised;
    const auto records = run({write("a.ko24", plain)});
    const auto louder = run({write("b.ko24", loud)});
    const auto higher = run({write("c.ko24", high)});
    ASSERT_EQ(records.size(), 10U);
    tavrik::Spectrum spectrum(64);
    std::vector<double> magnitudes(8);
    for (std::size_t w = 0; w < records.size(); ++w) {
      for (std::size_t c = 0; c < 3; ++c) {
        spectrum.set_channel(c, &plain[c][64 * w]);
      }
      spectrum.transform();
      spectrum.average_magnitudes(magnitudes);
      EXPECT_EQ(records[w].slope, tavrik::line_fit(magnitudes).slope);
      const double factor = normalised ? 1 : 64;
      EXPECT_EQ(louder[w].az, records[w].az);
      EXPECT_EQ(louder[w].vel, records[w].vel);
      EXPECT_EQ(louder[w].vel2, records[w].vel2);
      EXPECT_EQ(louder[w].amp, 8 * records[w].amp);
      EXPECT_EQ(louder[w].slope, 8 * records[w].slope);
      EXPECT_EQ(louder[w].cmax, factor * records[w].cmax);
      EXPECT_EQ(louder[w].cprod, factor * factor * factor * records[w].cprod);
      EXPECT_EQ(louder[w].quality, louder[w].cprod * louder[w].amp);
      EXPECT_GT(higher[w].amp, 40000);
      EXPECT_NEAR(higher[w].slope, records[w].slope, 1e-6 * std::fabs(records[w].slope));
      if (normalised) {
        EXPECT_NEAR(higher[w].az, records[w].az, 1e-6);
        EXPECT_NEAR(higher[w].cmax, records[w].cmax, 1e-9);
      }
    }
  }
}

TEST_F(analyse, looks_for_coordinates_beside_the_data) {
  const auto triangle = [](int x) {
    return "h\n1 2 3\n0 0\n-" + std::to_string(x) + " 1\n0 -80\n";
  };
  const auto microphone_2 = [] { return array_geometry.pos[1].x; };
  settings.quiet = false;
  const std::string data = write("a.ko24", noise(9));
  const std::string missing =
      "No coord.dat-file, using defaults\nVQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n";
  const std::string summary = "\n75:270.000057";
  const auto expect_said = [&](const std::string& start_of_said) {
    run({data});
    EXPECT_THAT(said, testing::StartsWith(start_of_said));
  };
  expect_said(missing + missing + summary);
  const std::string shared = folder.write("coord.dat", triangle(60));
  expect_said(missing + "Coord-file: " + shared + "\n");
  EXPECT_EQ(microphone_2(), -60);
  const std::string own = folder.write("a.coords", triangle(70));
  expect_said("Coord-file: " + own + "\n");
  run({data, write("b.ko24", noise(9), 8, start + 2)});
  EXPECT_EQ(microphone_2(), -60) << "the last file's triangle serves the run";
  settings.coord_loaded = true;
  settings.coord_file = folder.write("far.txt", triangle(99));
  run({data});
  EXPECT_EQ(microphone_2(), -99);
  settings.coord_file = folder / "none";
  expect_said(missing + summary);
}

TEST_F(analyse, never_overwrites_what_it_reads) {
  settings.write_az = true;
  settings.coord_loaded = true;
  settings.coord_file = folder.write("a.caz", "h\n1 2 3\n0 0\n-75 0\n0 -75\n");
  const std::string path = write("a.az", noise(300));
  const std::string before = folder.read("a.az") + folder.read("a.caz");
  run({path, write("b.ko24", noise(300), 8, start + 60)});
  EXPECT_THAT(said, HasSubstr("Can't open " + path + "\nCan't open " + settings.coord_file + "\n"));
  EXPECT_EQ(folder.read("a.az") + folder.read("a.caz"), before);
}

TEST_F(analyse, gives_the_same_bytes_for_one_file_and_for_its_parts) {
  recording::Scene scene;
  scene.sampling_frequency = 16;  // so that all times are exact
  scene.length = 120;
  scene.waves = {{.azimuth = 200, .turn = 1, .velocity = 350, .start = 10, .length = 90}};
  const recording::Recording whole = recording::compute_recording(scene);
  recording::write_ko24(folder / "whole.ko24", whole, 1);
  const std::size_t cut = 1001;
  recording::Recording first = whole;
  recording::Recording second = whole;
  second.start += static_cast<double>(cut) / 16;
  for (std::size_t c = 0; c < 3; ++c) {
    first.samples[c].resize(cut);
    second.samples[c].erase(second.samples[c].begin(), second.samples[c].begin() + cut);
  }
  recording::write_ko24(folder / "first.ko24", first, 0);
  recording::write_ko24(folder / "second.ko24", second, 2);

  settings.write_az = settings.partial = settings.lltmp = settings.crn = true;
  settings.comment = settings.histogram = true;
  settings.cstep = 50;
  run({folder / "whole.ko24"});
  run({folder / "first.ko24", folder / "second.ko24"});
  EXPECT_EQ(said, "");
  for (const std::string extension : {"az", "caz", "part", "lltmp", "crn", "hst"}) {
    const std::string expected = folder.read("whole." + extension);
    EXPECT_GT(expected.size(), 500U) << extension;
    EXPECT_TRUE(folder.read("first." + extension) == expected) << extension;
  }
}

/// Angle between two azimuths, 0..180 degrees.
double apart(double a, double b) {
  return std::fabs(std::remainder(a - b, 360));
}

/// Plane waves of 340 m/s, far louder than the wind, over the default triangle.
class analyse_plane_wave : public analyse {
 protected:
  static constexpr double speed = 340;

  /// Directions all around.
  static std::vector<double> azimuths() {
    std::vector<double> result = {7, 52.5, 82.5, 101, 199.9, 283.3, 352.4};
    for (int azimuth = 0; azimuth < 360; azimuth += 15) {
      result.push_back(azimuth);
    }
    return result;
  }

  /// The wave reaches two of the microphones at once: the time between them is all noise.
  static bool is_broadside(double azimuth) {
    return std::fmod(azimuth, 90) == 0 || azimuth == 45 || azimuth == 225;
  }

  /// Whether an azimuth is right. From due east or west, where microphones 1 and 3 hear the wave at
  /// once, `new` and `weighted` know the line that it came along but not always from which end.
  static bool is_found(double found, double azimuth, bool from_any_end) {
    const double error = apart(found, azimuth);
    return error < 1 || (from_any_end && error > 179);
  }

  /// The results of all windows in which the wave is in full.
  std::vector<ResultRecord> results_of(double azimuth, Direction method, bool clockwise = false) {
    recording::Scene scene;
    if (clockwise) {
      std::swap(scene.microphones[1], scene.microphones[2]);
      recording::write_coordinates(folder / "wave.coords", scene.microphones);
    }
    scene.length = 70;
    scene.noise = 10;
    scene.waves = {
        {.azimuth = azimuth, .velocity = speed, .start = 5, .length = 60, .low = 2, .high = 6}};
    recording::write_ko24(folder / "wave.ko24", recording::compute_recording(scene), 1);
    settings.primary_direction = settings.secondary_direction = method;
    settings.cstep = 32;
    settings.range_set = true;
    settings.range_t0 = scene.start + 13;
    settings.range_t1 = scene.start + 57 - 128 / 18.0;
    std::vector<ResultRecord> records = run({folder / "wave.ko24"});
    EXPECT_GE(records.size(), 20U);
    return records;
  }
};

// A degree and 3 percent, but for the velocity of waves that reach two microphones at once: that
// pair's speed divides nothing by nothing. vel2, without pair 23 and without a quotient, is good
// from everywhere. `old` knows the end too. Its velocity is in metres per sample, times 2 pi.
TEST_F(analyse_plane_wave, comes_back_from_new_and_from_old) {
  const double by_samples = 2 * std::numbers::pi * speed / 18;
  for (const double azimuth : azimuths()) {
    SCOPED_TRACE(azimuth);
    for (const ResultRecord& record : results_of(azimuth, Direction::new_method)) {
      EXPECT_PRED3(is_found, record.az, azimuth, std::fmod(azimuth, 180) == 90);
      EXPECT_NEAR(record.vel2, speed, 0.03 * speed);
      if (!is_broadside(azimuth)) {
        EXPECT_NEAR(record.vel, speed, 0.03 * speed);
      }
    }
    for (const ResultRecord& record : results_of(azimuth, Direction::old_method)) {
      EXPECT_LT(apart(record.az, azimuth), 1.5);
      EXPECT_NEAR(record.vel, by_samples, 0.03 * by_samples);
    }
  }
}

TEST_F(analyse_plane_wave, is_turned_by_clockwise_microphones) {
  for (const double azimuth : {20.0, 110.0, 200.0, 290.0}) {
    SCOPED_TRACE(azimuth);
    for (const ResultRecord& record : results_of(azimuth, Direction::new_method, true)) {
      EXPECT_LT(apart(record.az, azimuth + 180), 2);
      EXPECT_NEAR(record.vel2, speed, 0.03 * speed);
    }
    EXPECT_THAT(said, HasSubstr("WARNING: microphones 1, 2, 3 go clockwise"));
  }
}

// The direction is that of `new`. The velocity is a mean over each two pairs by the two lags'
// hypotenuse, of which only that of the pairs 12 and 13, at right angles, is the wave's own.
TEST_F(analyse_plane_wave, has_its_direction_but_another_velocity_from_weighted) {
  for (const double azimuth : azimuths()) {
    SCOPED_TRACE(azimuth);
    const double s = std::sin(azimuth * std::numbers::pi / 180);
    const double c = std::cos(azimuth * std::numbers::pi / 180);
    for (const ResultRecord& record : results_of(azimuth, Direction::weighted_method)) {
      EXPECT_PRED3(is_found, record.az, azimuth, std::fmod(azimuth, 180) == 90);
      const double wa = record.cmax12 * record.cmax13;
      const double wb = record.cmax12 * record.cmax23;
      const double wc = record.cmax13 * record.cmax23;
      const double mean =
          (wa + wb / std::hypot(s, c - s) + wc * std::sqrt(2) / std::hypot(c, c - s)) /
          (wa + wb + wc);
      EXPECT_NEAR(record.vel, mean * speed, 0.03 * mean * speed);
    }
  }
}

}  // namespace
