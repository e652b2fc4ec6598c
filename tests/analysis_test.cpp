// The analysis of whole files: windows, joining, lag range, coordinates, and what it makes of
// sound.

#include "src/analysis.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <gmock/gmock.h>
#include <numbers>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/accepted.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/not_finite.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

#include "src/gather.h"

namespace {

using support::inf;
using support::nan;
using tavrik::array_geometry;
using enum tavrik::Direction;
using tavrik::Direction;
using tavrik::ResultRecord;
using tavrik::settings;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

using Channels = std::vector<std::vector<std::int32_t>>;
using Records = std::vector<ResultRecord>;

constexpr std::uint32_t start = 1456812000;  // 06:00 of its day

/// Samples that are noise about a mean of 3000; the same in every run.
Channels noise(std::size_t n_samples, std::size_t n_channels = 3) {
  std::mt19937_64 generator(n_samples);
  Channels channels(n_channels, std::vector<std::int32_t>(n_samples));
  for (std::vector<std::int32_t>& channel : channels) {
    for (std::int32_t& sample : channel) {
      sample = static_cast<std::int32_t>(generator() % 20001) - 7000;
    }
  }
  return channels;
}

std::string overlap(int next, const char* seconds, int last) {
  return fmt::format(
      "WARNING: {}: begins {} seconds before {} ends, times of windows may be wrong\n", next,
      seconds, last);
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
    return folder.write(name, support::Ko24File(fields).add_channels(channels).bytes());
  }

  /// Analyses files as one run; `said` is what was written to the error stream, without the folder.
  Records run(const std::vector<std::string>& files) {
    support::CapturedStderr captured;
    tavrik::ResultSeries series;
    status = exit_status([&] { finished = tavrik::analyse(files, series); });
    said = captured.take();
    const std::string path = folder / "";
    for (std::size_t at = said.find(path); at != std::string::npos; at = said.find(path)) {
      said.erase(at, path.size());
    }
    return series.records;
  }

  /// The lags that a file gives a run.
  static std::size_t gathered_max_lag(const std::string& path) {
    const support::CapturedStderr captured;
    return tavrik::gather({path}).max_lag;
  }

  support::TemporaryFolder folder;
  int status = -1;
  bool finished = false;
  std::string said;
};

// Files of 8 Hz. A window ends before the last sample; one with a hole in it is left out; where
// times do not increase, they go on by the window.
TEST_F(analyse, takes_windows_in_the_range_without_a_hole) {
  struct Part {
    std::size_t n_samples;
    double first;  // seconds after the start, as all times here
  };

  const struct {
    std::vector<Part> files;
    std::size_t length;
    int step;
    std::vector<std::pair<double, int>> windows;  // the first of some that are a step apart
    std::string said = {};
    double from = -1e6, to = 1e6;
  } table[] = {
      {{{0, 0}}, 8, 8, {}, "WARNING: 0 has too few samples (0) for a window of 8\n"},
      {{{8, 0}}, 8, 8, {}, "WARNING: 0 has too few samples (8) for a window of 8\n", 40, 50},
      {{{9, 0}}, 8, 8, {{0, 1}}},
      {{{16, 0}}, 8, 8, {{0, 1}}},
      {{{17, 0}}, 8, 8, {{0, 2}}},
      {{{17, 0}}, 8, 3, {{0, 3}}},
      {{{18, 0}}, 8, 3, {{0, 4}}},
      {{{521, 0}}, 512, 8, {{0, 2}}},
      {{{240, 0}}, 8, 8, {{2, 3}}, "", 2, 5},
      {{{240, 0}}, 8, 8, {{3, 3}}, "", 2.01, 5.01},
      {{{240, 0}}, 8, 8, {}, "", 8, 8},  // said before
      {{{240, 0}},
       8,
       8,
       {},
       "WARNING: 0: no window is in the range 1456812040.5-1456812050, the data is from "
       "1456812000.00 to 1456812029.88\n",
       40.5,
       50},
      {{{240, 0}, {80, -100}}, 8, 8, {{0, 5}}, overlap(1, "130.00", 0), -1e6, 5},
      {{{80, 0}, {80, 10.125}}, 16, 8, {{0, 10}, {10.125, 8}}},
      {{{80, 0}, {80, 10.25}}, 16, 8, {{0, 9}, {10.25, 8}}},
      {{{80, 0}, {80, 15}}, 16, 8, {{0, 9}, {15, 8}}},
      {{{80, 0}, {80, 15.5}},
       16,
       8,
       {{0, 9}, {15.5, 8}},
       "\nWARNING: hole in data 5.5 seconds\n\n"},
      {{{80, 0}, {80, 7}}, 16, 8, {{0, 10}, {19, 3}, {10, 5}}, overlap(1, "3.00", 0)},
      {{{80, 0}, {80, -100}}, 8, 8, {{0, 10}, {19, 9}}, overlap(1, "110.00", 0)},
  };

  settings.range_set = true;
  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    set_windows(row.length, row.step);
    settings.range_t0 = start + row.from;
    settings.range_t1 = start + row.to;
    std::vector<std::string> files;
    for (const Part& part : row.files) {
      files.push_back(write(std::to_string(files.size()), noise(part.n_samples), 8, part.first));
    }
    std::vector<double> expected;
    for (const auto& [first, count] : row.windows) {
      for (int i = 0; i < count; ++i) {
        expected.push_back(start + first + i * row.step / 8.0);
      }
    }
    std::vector<double> times;
    for (const ResultRecord& record : run(files)) {
      times.push_back(record.time);
    }
    EXPECT_EQ(times, expected);
    EXPECT_EQ(said, row.said);
  }
}

TEST_F(analyse, derives_the_lags_from_the_first_files_frequency) {
  settings.quiet = false;
  const std::string later = write("b.ko24", noise(9), 18, 2.05);

  const struct {
    double frequency;
    std::size_t lag;  // 0: the run ends
    const char* said;
  } table[] = {{20, 18, "\nSetting maxdelay to 18. Default was 16.\n"},
               {1.6875, 2, "\nSetting maxdelay to 2. Default was 16.\n"},
               {0.5625, 1, "\nSetting maxdelay to 1. Default was 16.\n"},
               {73727, 65535, "\nSetting maxdelay to 65535. Default was 16.\n"},
               {0.5, 0, "\nError: maxdelay out of range 2 < 0 < 255\n"},
               {73728, 0, "\nError: maxdelay out of range 2 < 65536 < 255\n"},
               {0, 0, "Can't determine sample frequency\n"},
               {nan, 0, "Can't determine sample frequency\n"},
               {inf, 0, "Can't determine sample frequency\n"}};

  for (const auto& row : table) {
    SCOPED_TRACE(row.frequency);
    const std::string path = write("a.ko24", noise(9), row.frequency);
    run({path, later});
    EXPECT_EQ(status, row.lag == 0 ? 1 : -1);
    EXPECT_THAT(said, HasSubstr(row.said));
    EXPECT_EQ(said.find("Setting"), said.rfind("Setting"));
    EXPECT_TRUE(row.lag > 0 || said.find("begins") == said.npos);  // nobody knows
    if (row.lag > 0) {
      EXPECT_EQ(gathered_max_lag(path), row.lag);
    }
  }
  settings.maxdelay_auto = false;
  settings.quiet = true;
  EXPECT_EQ(run({folder / "none", write("a.ko24", noise(41), 20), later}).size(), 6U);
  EXPECT_EQ(said,
            "WARNING: can't read none, skipping it: No such file or directory\n"
            "WARNING: b.ko24 has 18 samples/s, the run has 20\n");
  EXPECT_EQ(gathered_max_lag(folder / "a.ko24"), 16U);
}

// Sums of squares of unit variance are one less than the samples, however loud the channels are.
TEST_F(analyse, correlates_a_channel_with_itself_in_full_and_with_a_dead_one_not_at_all) {
  set_windows(61, 61);  // a prime: the transform of a constant is not all zeros
  settings.maxdelay_auto = false;
  settings.entropy = true;
  constexpr double full = 60.0 / (4 * 2 * 16);
  for (const std::size_t dead : {0U, 1U, 2U, 3U}) {
    SCOPED_TRACE(dead);
    Channels channels(3, noise(129, 1)[0]);
    for (std::int32_t& sample : channels[1]) {
      sample = 800 * sample - 50000;
    }
    if (dead < 3) {
      channels[dead].assign(129, 5000);
    }
    const ResultRecord record = run({write("a.ko24", channels)}).at(1);
    EXPECT_NEAR(record.cmax12, dead < 2 ? 0 : full, 1e-12);
    EXPECT_NEAR(record.cmax13, dead % 2 == 0 ? 0 : full, 1e-12);
    EXPECT_NEAR(record.cmax23, dead == 1 || dead == 2 ? 0 : full, 1e-12);
    EXPECT_NEAR(record.cmax, full, 1e-12);
    EXPECT_NEAR(record.cprod, dead < 3 ? 0 : full * full * full, 1e-12);
    const double entropies[] = {record.ent0, record.ent1, record.ent2};
    for (const std::size_t c : {0U, 1U, 2U}) {
      EXPECT_EQ(entropies[c] > 0, c != dead);
    }
  }
}

TEST_F(analyse, looks_for_coordinates_beside_the_data) {
  settings.quiet = false;
  const std::string missing =
      "No coord.dat-file, using defaults\nVQS-FILE\n1 2 3\n0 0\n-75 0\n0 -75\n";
  const std::vector<std::string> files = {write("a.ko24", noise(9)),
                                          write("b.ko24", noise(9), 8, 2)};
  const auto expect = [&](const std::string& said_of_last, double microphone_2) {
    run(files);
    EXPECT_THAT(said, HasSubstr(said_of_last));
    EXPECT_EQ(array_geometry.pos[1].x, microphone_2);
  };
  const auto write_triangle = [this](const char* name, const std::string& second) {
    return folder.write(name, "h\n1 2 3\n0 0\n" + second + "\n0 -80\n");
  };
  expect(missing + missing + "\n75:270.000057", -75);
  write_triangle("coord.dat", "-60 1");
  expect(missing + "Coord-file: coord.dat\n", -60);
  write_triangle("a.coords", "-50 1");
  expect(missing + "Coord-file: coord.dat\n", -60);
  EXPECT_THAT(said, StartsWith("Coord-file: a.coords\n"));
  write_triangle("b.coords", "-70 1");  // the last file's triangle serves the run
  expect("Coord-file: b.coords\n", -70);
  settings.coord_loaded = true;
  const std::tuple<const char*, double, const char*> unusual[] = {
      {"0.01 -99", 0.01, "WARNING: the microphones stand in a line: directions are ambiguous\n"},
      {"1 0", 1, "WARNING: microphones 1, 2, 3 go clockwise: azimuths are turned by 180 degrees\n"},
      {"0 0", 0, "WARNING: far: microphones 1 and 2 are in one place, azimuths mean nothing\n"},
      {"-0.5 -80", -0.5,
       "WARNING: far: microphones 2 and 3 are 0.5 m apart: are the positions in metres?\n"}};
  for (const auto& [second, x, warning] : unusual) {
    settings.coord_file = write_triangle("far", second);
    expect(warning, x);
    EXPECT_THAT(said, StartsWith("Coord-file: far\n"));
    EXPECT_EQ(said.find("WARNING"), said.rfind("WARNING"));  // one array, one finding
  }
  settings.secondary_direction = lsq_method;
  settings.coord_file = write_triangle("far", "0.01 -99");
  run(files);
  EXPECT_EQ(status, 1);
  EXPECT_THAT(
      said, HasSubstr("Error: far: no direction fits microphones in a line: 0,0 0.01,-99 0,-80\n"));
}

// Files of 10 s at 8 Hz: 80 samples, exact in seconds.
TEST_F(analyse, names_files_that_do_not_belong_together) {
  struct Part {
    double begin = 0;
    std::uint8_t station = 1;
    std::size_t n_channels = 3;
    double moved = 0;  // metres, of a microphone
    bool dead = false;
  };

  const struct {
    std::vector<Part> files;  // 0, 1, 2...
    std::string said;
    int step = 128;
  } table[] = {
      {{{10}, {0}}, overlap(1, "20.00", 0)},
      {{{0}, {10}, {19}}, overlap(2, "1.00", 1)},
      {{{0}, {9.5}}, "", 5},  // a window's start is still after that of the window before
      {{{0}, {9.5}}, overlap(1, "0.50", 0), 4},
      {{{0, 1}, {10, 254}, {20, 254}, {30, 3}},
       "WARNING: 1: station test, joined to 0 of station tolmar\n"
       "WARNING: 3: station ostermyra, joined to 0 of station tolmar\n"},
      {{{0, 1, 3}, {10, 1, 4}},
       "WARNING: 1: 4 channels, joined to 0 of 3 channels\n"
       "WARNING: More than 3 channels (4). Using channels 0, 1 & 2\n"},
      {{{0}, {10, 1, 3, 0.0005}, {20, 1, 3, -25}, {30, 1, 3, -25}},
       "WARNING: 2: a microphone is 25.000 m from its place in 0, the last file's places hold\n"},
      {{{0, 1, 3, 0, true}, {10, 1, 3, 0, true}, {20}},
       "WARNING: 0: channel 2 is constant in 10 of 10 windows: azimuths mean nothing\n"
       "WARNING: 1: channel 2 is constant in 10 of 10 windows: azimuths mean nothing\n",
       8},
  };

  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    settings.cstep = row.step;
    std::vector<std::string> files;
    for (const Part& part : row.files) {
      files.push_back(folder / std::to_string(files.size()));
      recording::Recording recorded{8, start + part.begin, part.station,
                                    noise(80, part.n_channels)};
      recorded.samples[1].resize(part.dead ? 0 : 80);
      recorded.samples[1].resize(80, -7);
      recording::write_ko24(files.back(), recorded, 1);
      recording::write_coordinates(files.back() + ".coords",
                                   {{{0, 0}, {-75, 0}, {0, part.moved - 75}}});
    }
    run(files);
    EXPECT_EQ(std::regex_replace(said, std::regex("Coord-file: .*\n"), ""), row.said);
  }
}

// Ten windows of a tone, without a break between them.
TEST_F(analyse, judges_lags_and_levels) {
  const struct {
    const char* said;
    double leg = 75;             // metres from microphone 1 to 2 and 3
    std::uint64_t max_lag = 16;  // 0: by the frequency
    double frequency = 18;
    std::size_t late = 0;  // windows in which channel 2 is 8 samples late
    double level = 0;
    bool normalize = true;
  } table[] = {
      {"side 23 of 565.7 m needs 30.9 lags at 330 m/s, the range is 30, sound along it is missed: "
       "use --maxdelay=31",
       400, 30},
      {"", 400, 31},
      {"side 23 of 565.7 m needs 342.8 lags at 330 m/s, the range is 178, sound along it is "
       "missed: "
       "no --maxdelay up to 255 will do",
       400, 0, 200},
      {"", 30, 3, 18, 5},
      {"the lag of pair 12 is at the end of its range, 3, in 6 of 10 windows: --maxdelay may be "
       "too "
       "small",
       30, 3, 18, 6},
      {"", 75, 16, 18, 0, 63.0 / 128},
      {"no correlation of 64 samples with 16 lags is above 0.492, none meets -h0.4922", 75, 16, 18,
       0, 0.4922},
      {"", 75, 16, 18, 0, 1, false},
  };

  set_windows(64, 64);
  for (const auto& row : table) {
    SCOPED_TRACE(&row - table);
    Channels channels(3, std::vector<std::int32_t>(641));
    for (std::size_t i = 0; i < 3UL * 641; ++i) {
      const std::size_t place = i / 3 + (i % 3 == 1 && i / 3 < 64 * row.late ? 8 : 0);
      const double phase = static_cast<double>(place) * std::numbers::pi / 32;
      channels[i % 3][i / 3] = static_cast<std::int32_t>(std::lround(1e4 * std::sin(phase)));
    }
    settings.maxdelay_auto = row.max_lag == 0;
    settings.maxdelay = row.max_lag;
    settings.crsfilter = row.level;
    settings.normalize = row.normalize;
    recording::write_coordinates(folder / "a.coords", {{{0, 0}, {-row.leg, 0}, {0, -row.leg}}});
    run({write("a.ko24", channels, row.frequency)});
    const std::string warning = row.said;
    EXPECT_EQ(said, "Coord-file: a.coords\n" +
                        (warning.empty() ? "" : "WARNING: a.ko24: " + warning + "\n"));
  }
}

// Half of it with channels that are not used, half with a part of a sample at its end.
TEST_F(analyse, gives_the_same_bytes_for_one_file_and_for_its_parts) {
  settings.write_az = settings.partial = settings.lltmp = settings.crn = true;
  settings.comment = settings.histogram = settings.entropy = settings.acr = true;
  settings.hist_size = 4;
  set_windows(128, 50);
  Channels first = noise(630, 5);
  Channels second = first;
  first.resize(3);
  run({write("whole.ko24", first)});
  for (std::vector<std::int32_t>& channel : first) {
    channel.resize(301);
  }
  for (std::vector<std::int32_t>& channel : second) {
    channel.erase(channel.begin(), channel.begin() + 301);
  }
  write("first.ko24", first);
  folder.write("first.ko24", folder.read("first.ko24") + "\1\2\3\4\5\6\7\10");
  run({folder / "first.ko24", write("second.ko24", second, 8, 301.0 / 8)});
  EXPECT_THAT(said, EndsWith("WARNING: More than 3 channels (5). Using channels 0, 1 & 2\n"));
  std::string text;
  for (const std::string extension :
       {".az", ".caz", ".part", ".lltmp", ".crn", ".hst", ".crs", ".cre", ".acr"}) {
    EXPECT_EQ(folder.read("first" + extension), folder.read("whole" + extension));
    text += "== " + extension + "\n" + folder.read("whole" + extension);
  }
  settings.normalize = false;
  run({folder / "whole.ko24"});
  text += "-- not normalised\n" + folder.read("whole.az");
  support::expect_accepted("analysis.txt", text);
}

// Whoever reads a result that is written in place, as one with two names is, waits a second for the
// lines at most; who ends the run loses none, but for those that are written after the last window.
TEST_F(analyse, hands_its_lines_to_the_system_every_second) {
  static std::string path;
  static std::vector<std::ptrdiff_t> on_disk;
  path = folder / "a.caz";
  std::filesystem::create_hard_link(folder.write("other", ""), path);
  on_disk.clear();
  settings.write_az = settings.histogram = true;
  set_windows(8, 1);
  tavrik::end_is_wanted = [] {  // asked before the file is read, and every 256 windows
    std::ifstream file(path);
    on_disk.push_back(std::count(std::istreambuf_iterator<char>(file), {}, '\n'));
    std::this_thread::sleep_for(std::chrono::milliseconds(on_disk.size() > 1 ? 1000 : 0));
    return on_disk.size() == 4;
  };
  const std::string data = write("a.ko24", noise(2000));
  EXPECT_EQ(run({data}).size(), 768U);
  EXPECT_EQ(on_disk.at(2), 512);
  EXPECT_EQ(on_disk.at(3), 768);
  EXPECT_FALSE(finished);
  EXPECT_EQ(said,
            "WARNING: a.az is not whole, its lines so far are in a.az.unfinished\n"
            "WARNING: a.caz is not whole\nWARNING: a.ko24 was not analysed to its end\n");
  EXPECT_EQ(std::ranges::count(folder.read("a.az.unfinished"), '\n'), 768);
  EXPECT_EQ(std::ranges::count(folder.read("other"), '\n'), 768);
  EXPECT_FALSE(std::filesystem::exists(folder / "a.hst"));
  tavrik::end_is_wanted = [] { return true; };
  EXPECT_EQ(run({data}).size(), 0U);
  EXPECT_FALSE(finished);
}

// Waves far louder than the wind. From due east or west, where microphones 1 and 3 hear the wave at
// once, `new` and `weighted` know the line that it came along but not always from which end; `old`
// does. vel2, without pair 23 and without a quotient, is good from everywhere, but in proportion to
// the distance from microphone 1 to 2 while the wave goes from 1 to 3; vel of `new` is good only
// where no pair hears the wave at once. That of `old` is in metres per sample, times 2 pi.
TEST_F(analyse, gives_plane_waves_back_and_turns_those_of_clockwise_microphones) {
  constexpr double velocity = 340;
  set_windows(128, 32);
  recording::Scene scene;
  scene.length = 70;
  scene.noise = 10;
  settings.range_set = true;  // where the wave is in full
  settings.range_t0 = scene.start + 13;
  settings.range_t1 = scene.start + 57 - 128 / 18.0;
  for (const double azimuth : {0.0, 15.0, 45.0, 52.5, 90.0, 101.0, 135.0, 165.0, 180.0, 199.9,
                               225.0, 270.0, 283.3, 315.0, 352.4, 20.0}) {
    const bool clockwise = azimuth == 20;  // the last
    const double stretch = azimuth == 0 ? 1.2 : 1;
    scene.microphones[1].x = -75 * stretch;
    if (clockwise) {
      std::swap(scene.microphones[1], scene.microphones[2]);
    }
    scene.waves = {
        {.azimuth = azimuth, .velocity = velocity, .start = 5, .length = 60, .low = 2, .high = 6}};
    recording::write_coordinates(folder / "wave.coords", scene.microphones);
    recording::write_ko24(folder / "wave.ko24", recording::compute_recording(scene), 1);
    for (const Direction method : {new_method, weighted_method, old_method, lsq_method}) {
      SCOPED_TRACE(testing::Message() << azimuth << " by " << static_cast<int>(method));
      settings.secondary_direction = method;
      const Records records = run({folder / "wave.ko24"});
      EXPECT_GE(records.size(), 20U);
      const bool is_turned = clockwise && method != lsq_method;
      EXPECT_EQ(said.find("clockwise: azimuths are turned by 180 degrees\n") != said.npos,
                is_turned);
      const bool is_exact = method == lsq_method;
      const bool any_end = !is_exact && method != old_method && std::fmod(azimuth, 180) == 90;
      const bool uneven = std::fmod(azimuth, 90) != 0 && std::fmod(azimuth, 180) != 45;
      for (const ResultRecord& record : records) {
        const double turned = record.az - azimuth - (is_turned ? 180 : 0);
        const double error = std::fabs(std::remainder(turned, 360));
        EXPECT_TRUE(error < 1.5 || (any_end && error > 178.5)) << record.az;
        EXPECT_NEAR(record.vel2, is_exact ? velocity : stretch * velocity, 0.03 * velocity);
        if (is_exact || (method == new_method && uneven)) {
          EXPECT_NEAR(record.vel, velocity, 0.03 * velocity);
        } else if (method == old_method && !clockwise) {
          EXPECT_NEAR(record.vel / (2 * std::numbers::pi / 18), velocity, 0.03 * velocity);
        }
      }
    }
  }
}

}  // namespace
