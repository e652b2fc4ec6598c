// What the plots work out before they draw, hostile series, and pictures of the real program.

#include "src/result_plot.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "graphics/mode.h"
#include "graphics/png.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/program_runner.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

#include "src/circular_plot.h"
#include "src/display_state.h"
#include "src/plot_surface.h"
#include "src/save_plot.h"
#include "src/settings.h"
#include "src/viewer_keys.h"

namespace {

using namespace tavrik;
using support::Stream;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

ResultSeries at_times(const std::vector<double>& times) {
  ResultSeries series;
  series.sampling_frequency = 16;
  for (const double time : times) {
    ResultRecord record;
    record.time = time;
    series.records.push_back(record);
  }
  return series;
}

class result_plots : public FreshState {};

TEST_F(result_plots, plot_times) {
  const auto nothing = [] {};
  const auto force = [] {
    settings.range_set = settings.range_forced = true;
    settings.range_t0 = 1000;
    settings.range_t1 = 1100;
  };

  const struct {
    const char* name;
    std::vector<double> times;
    void (*change)();
    double first, last, step;
    int width;
  } rows[] = {
      {"no record: a window's step of 128 samples", {}, nothing, 0, 8, 8, 1},
      {"one record", {100}, nothing, 100, 108, 8, 1},
      {"one record, steps of 16 samples", {100}, [] { settings.cstep = 16; }, 100, 101, 1, 1},
      {"two records", {100, 105}, nothing, 100, 105, 5, 1},
      {"steps of 4", {0, 4, 8, 12}, nothing, 0, 12, 4, 3},
      {"a gap at first: the step that comes twice", {0, 100, 104, 108}, nothing, 0, 108, 4, 27},
      {"almost equal steps", {0, 4, 8.00009}, nothing, 0, 8.00009, 4, 2},
      {"no two equal steps: the first", {0, 4, 9, 15}, nothing, 0, 15, 4, 3},
      {"no time passes", {7, 7, 7}, nothing, 7, 15, 8, 1},
      {"a part of a column is cut", {0, 4, 8, 15.9}, nothing, 0, 15.9, 4, 3},
      {"compact", {0, 1, 2, 3, 4, 5, 6, 7}, [] { settings.compact = 3; }, 0, 7, 1, 2},
      {"compact larger than the plot", {0, 1, 2}, [] { settings.compact = 50; }, 0, 2, 1, 0},
      {"over midnight", {86392, 86396, 0, 4}, nothing, 86392, 4, 4, 3},
      {"a day back", {186400, 186404, 100000}, nothing, 186400, 186404, 4, 1},
      {"more than a day back", {200000, 200004, 0}, nothing, 200000, 0, 4, 0},
      {"forced range: steps of at most 64 samples", {1010, 1015, 1020}, force, 1000, 1100, 4, 25},
      {"forced range, shorter steps", {1010, 1011, 1012}, force, 1000, 1100, 1, 100},
      {"forced range without records", {}, force, 1000, 1100, 4, 25},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    reset();
    row.change();
    const PlotTimes times = plot_times(at_times(row.times));
    EXPECT_DOUBLE_EQ(times.first, row.first);
    EXPECT_DOUBLE_EQ(times.last, row.last);
    EXPECT_DOUBLE_EQ(times.step, row.step);
    EXPECT_EQ(times.width, row.width);
  }
}

TEST_F(result_plots, a_plot_that_is_too_wide_is_refused) {
  for (const std::vector<double>& times :
       {std::vector<double>{0, 1, 2, 5e6}, {0, 1, 2, 1e300}, {0, 1, 2, inf}, {0, nan}, {nan}}) {
    SCOPED_TRACE(testing::PrintToString(times));
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { plot_times(at_times(times)); }), 1);
    EXPECT_THAT(captured.take(), AllOf(HasSubstr("--compact"), HasSubstr("--range")));
  }
  settings.compact = 500;
  EXPECT_EQ(plot_times(at_times({0, 1, 2, 5e6})).width, 10000);
}

TEST_F(result_plots, velocity_maximum_keeps_two_outliers_off) {
  struct Window {
    double az, vel2;
  };

  const struct {
    const char* name;
    std::vector<Window> windows;
    double maximum;
  } rows[] = {
      {"no record", {}, 1000},
      {"two rises", {{0, 300}, {0, 400}}, 1000},
      {"three rises", {{0, 300}, {0, 400}, {0, 500}}, 300},
      {"lower ones between", {{0, 300}, {0, 10}, {0, 400}, {0, 350}, {0, 500}, {0, 450}}, 300},
      {"equal is no rise", {{0, 300}, {0, 300}, {0, 400}, {0, 500}}, 300},
      {"four rises", {{0, 300}, {0, 400}, {0, 500}, {0, 9000}}, 400},
      {"invalid windows do not count", {{0, 300}, {nan, 350}, {0, 400}, {0, nan}, {0, 500}}, 300},
      {"falling", {{0, 500}, {0, 400}, {0, 300}}, 1000},
      {"zero is no maximum", {{0, 0}, {0, 400}, {0, 500}}, 1000},
      {"nor is a negative one", {{0, -5}, {0, 400}, {0, 500}}, 1000},
      {"infinite ones are outliers", {{0, 300}, {0, 400}, {0, inf}, {0, inf}}, 300},
      {"only infinite", {{0, inf}, {0, inf}, {0, inf}}, 1000},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::vector<ResultRecord> records(row.windows.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
      records[i].az = row.windows[i].az;
      records[i].vel2 = row.windows[i].vel2;
    }
    settings.coord_loaded = true;
    EXPECT_DOUBLE_EQ(velocity_maximum(records), row.maximum);
    settings.coord_loaded = false;
    EXPECT_DOUBLE_EQ(velocity_maximum(records), 1000);
  }
}

std::vector<ResultRecord> windows(const std::vector<std::array<double, 3>>& az_cmax_quality) {
  std::vector<ResultRecord> records;
  for (const auto& [az, cmax, quality] : az_cmax_quality) {
    ResultRecord record;
    record.az = az;
    record.cmax = cmax;
    record.quality = quality;
    records.push_back(record);
  }
  return records;
}

TEST_F(result_plots, count_azimuths) {
  const auto records = windows({{0, 0.9, 1},
                                {89.99, 0.5, 2},
                                {90, 0.4, 4},
                                {179, 0.5, 8},
                                {359.99, 0.9, 16},
                                {360, 0.9, 32},
                                {nan, 0.9, 64},
                                {100, nan, 128},
                                {inf, 0.9, 256},
                                {-inf, 0.9, 512},
                                {-1, 0.9, 1024}});
  const auto buckets = count_azimuths(records, 4, 0.5);
  const std::vector<AzimuthBucket> expected = {
      {2, 2, 3}, {3, 1, 140}, {0, 0, 0}, {1, 1, 16}, {1, 1, 32}};
  ASSERT_EQ(buckets.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(buckets[i].count, expected[i].count) << i;
    EXPECT_EQ(buckets[i].filtered_count, expected[i].filtered_count) << i;
    EXPECT_DOUBLE_EQ(buckets[i].quality, expected[i].quality) << i;
  }
  EXPECT_EQ(count_azimuths(records, 0, 0).size(), 1U);  // a mode without panels
}

TEST_F(result_plots, count_sectors) {
  const auto records = windows({{0, 0.9, 0},
                                {360, 0.9, 0},
                                {89.99, 0.5, 0},
                                {90, 0.49, 0},
                                {179, 0.5, 0},
                                {359.99, 1, 0},
                                {nan, 1, 0},
                                {100, nan, 0},
                                {inf, 1, 0},
                                {-1, 1, 0}});
  EXPECT_THAT(count_sectors(records, 4, 0.5), ElementsAre(3, 1, 0, 1));
  EXPECT_THAT(count_sectors(records, 4, 0), ElementsAre(3, 2, 0, 1));
  EXPECT_THAT(count_sectors({}, 4, 0), ElementsAre(0, 0, 0, 0));
}

TEST_F(result_plots, strippath) {
  const struct {
    const char* path;
    const char* stripped;
  } rows[] = {
      {"x.dat", "x.dat"},
      {"data/x.dat", "data/x.dat"},
      {"/x.dat", "x.dat"},
      {"/home/x.dat", "x.dat"},
      {"home/x.dat", "x.dat"},
      {"/home/korla/data/x.dat", "data/x.dat"},
      {"//data/x.dat", "data/x.dat"},
      {"/korla/korla/korla/x.dat", "x.dat"},
      {"/korla/home/x.dat", "home/x.dat"},
      {"/home/home/x.dat", "home/x.dat"},
      {"/home/anna/korla/x.dat", "anna/korla/x.dat"},
      {"korla-2016/x.dat", "korla-2016/x.dat"},
      {"/", ""},
      {"", ""},
  };

  for (const auto& row : rows) {
    EXPECT_EQ(tavrik::strippath(row.path), row.stripped) << row.path;
  }
}

/// A series that no analysis should have made.
struct Hostile {
  const char* name;
  ResultSeries series;
};

ResultSeries filled(std::size_t count, double value) {
  ResultSeries series = at_times({});
  for (std::size_t i = 0; i < count; ++i) {
    ResultRecord record;
    record.az = record.vel2 = record.cmax = record.slope = record.quality = value;
    record.time = 1456812000 + 4 * static_cast<double>(i);
    series.records.push_back(record);
  }
  return series;
}

ResultSeries with_times(ResultSeries series, double first, double step) {
  for (std::size_t i = 0; i < series.records.size(); ++i) {
    series.records[i].time = first + step * static_cast<double>(i);
  }
  return series;
}

/// A velocity scale of its own: the three rises end in `highest`.
ResultSeries with_velocities(ResultSeries series, double lowest, double highest) {
  for (std::size_t i = 0; i < series.records.size(); ++i) {
    series.records[i].vel2 = i == 0 ? lowest : i == 1 ? 2 * lowest : highest;
  }
  return series;
}

std::vector<Hostile> hostile_series() {
  return {
      {"no record", filled(0, 0)},
      {"one", filled(1, 45)},
      {"two", filled(2, 45)},
      {"seven", filled(7, 45)},
      {"azimuth 360", filled(9, 360)},
      {"all NaN", filled(50, nan)},
      {"all infinite", filled(50, inf)},
      {"all minus infinite", filled(50, -inf)},
      {"all huge", filled(50, 1e300)},
      {"all negative", filled(50, -1e300)},
      {"infinite velocities", with_velocities(filled(50, 45), inf, inf)},
      {"tiny velocities", with_velocities(filled(50, 45), 1e-300, 300)},
      {"huge velocities", with_velocities(filled(50, 45), 8e307, 1.7e308)},
      {"times go back", at_times({90, 50, 40, 35, 10, 9})},
      {"times go back by a day", at_times({186400, 186404, 100000})},
      {"times go far back", at_times({1e9, 1e9 + 4, 5})},
      {"no time passes", with_times(filled(30, 10), 1456812000, 0)},
      {"hardly any time passes", with_times(filled(30, 10), 1456812000, 1e-6)},
      {"years pass", with_times(filled(30, 10), 0, 1e8)},
      {"ages pass", with_times(filled(30, 10), 0, 1e300)},
  };
}

TEST_F(result_plots, hostile_series_are_drawn) {
  unsetenv("ZENVUE_FONT");
  for (const Hostile& hostile : hostile_series()) {
    for (int mode = 1; mode <= 7; ++mode) {
      SCOPED_TRACE(testing::Message() << hostile.name << ", mode " << mode);
      reset();
      settings.memory = true;
      settings.quiet = true;
      settings.graphics_mode = mode;
      settings.lsq_plot = settings.plotcaz = true;
      settings.logcaz = mode % 2 == 0;
      settings.coord_loaded = mode % 3 == 0;
      settings.type = mode % 2 == 0 ? MarkerType::maxcrs : MarkerType::normal;
      settings.compact = mode == 5 ? 1000000 : 1;
      display_state.time_shift = -3;
      graphics_init(mode);
      EXPECT_EQ(exit_status([&] {
                  for (const auto plot : {result_plot, circular_plot, circular_velocity_plot}) {
                    EXPECT_EQ(plot("x", hostile.series, save_and_exit_key), save_and_exit_key);
                  }
                }),
                -1);
      EXPECT_LE(display_state.least_x, display_state.greatest_x);
    }
  }
}

TEST_F(result_plots, a_turn_by_all_records_changes_nothing) {
  unsetenv("ZENVUE_FONT");
  settings.memory = settings.quiet = true;
  graphics_init(settings.graphics_mode);
  ResultSeries series = filled(20, 1);
  for (std::size_t i = 0; i < series.records.size(); ++i) {
    series.records[i].az = 18 * static_cast<double>(i);
  }
  const auto drawn_with_shift = [&](int shift) {
    display_state.time_shift = shift;
    circular_plot("x", series, save_and_exit_key);
    return gr::surface.screen.pixels;
  };
  const auto unshifted = drawn_with_shift(0);
  EXPECT_EQ(drawn_with_shift(20), unshifted);
  EXPECT_EQ(drawn_with_shift(-40), unshifted);
  EXPECT_NE(drawn_with_shift(5), unshifted);
}

/// The real program, with pictures.
class program_pictures : public testing::Test {
 protected:
  program_pictures() {
    recording::Scene scene;
    scene.sampling_frequency = 20;
    scene.length = 120;
    scene.noise = 20;
    scene.microphones = {{{0, 0}, {-100, 0}, {0, -100}}};
    scene.waves = {{.azimuth = 300, .velocity = 350, .start = -30, .length = 180}};
    write_ko24(folder_ / "event.ko24", compute_recording(scene), 1);
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("ZENVUE_FONT");
    unsetenv("SDL_VIDEODRIVER");
  }

  support::Ended run(const std::vector<std::string>& arguments,
                     const support::Streams& streams = {}) const {
    return support::run_program(folder_.path().string(), arguments, streams);
  }

  bool exists(std::string_view name) const { return std::filesystem::exists(folder_ / name); }

  support::TemporaryFolder folder_;
};

TEST_F(program_pictures, are_saved_beside_the_data) {
  const auto ended = run({"--memory", "--save-and-exit", "event.ko24"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.output, "");
  EXPECT_THAT(ended.error, Not(HasSubstr("Can't")));
  const auto picture = gr::load_png(folder_ / "event.png");
  ASSERT_TRUE(picture);
  EXPECT_EQ(picture->context.height, 600);
}

TEST_F(program_pictures, of_other_kinds_of_run) {
  ASSERT_EQ(run({"--memory", "--save-and-exit", "event.ko24"}).status, 0);
  const std::string usual = folder_.read("event.png");

  const struct {
    std::vector<std::string> arguments;
    bool same;
  } rows[] = {
      {{"--memory", "--save-and-exit", "--no-join", "event.ko24", "none.ko24"}, true},
      {{"-g6", "--memory", "--save-and-exit", "event.ko24"}, false},
      {{"--memory", "--save-and-exit", "--compact=2", "event.ko24"}, false},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    std::filesystem::remove(folder_ / "event.png");
    EXPECT_EQ(run(row.arguments).status, 0);
    EXPECT_EQ(folder_.read("event.png") == usual, row.same);
  }
}

TEST_F(program_pictures, go_to_the_standard_output_alone) {
  ASSERT_EQ(run({"--memory", "--save-and-exit", "event.ko24"}).status, 0);
  const std::string usual = folder_.read("event.png");
  std::filesystem::remove(folder_ / "event.png");
  const auto ended = run({"--memory", "--save-and-exit", "--stdout", "event.ko24"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_TRUE(ended.output == usual) << ended.output.size() << " bytes, not " << usual.size();
  EXPECT_FALSE(exists("event.png"));
}

TEST_F(program_pictures, a_reader_that_has_gone_is_an_error) {
  const auto ended =
      run({"--memory", "--save-and-exit", "--stdout", "event.ko24"}, {.output = Stream::broken});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.signal, 0);
  EXPECT_THAT(ended.error, HasSubstr("Can't write standard output\n"));
}

TEST_F(program_pictures, that_can_not_be_opened_are_said) {
  std::filesystem::create_directory(folder_ / "event.png");
  auto ended = run({"--memory", "--save-and-exit", "event.ko24"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.error, EndsWith("Can't open event.png\n"));

  // An absolute path is stripped, and no folder is made for it.
  ended = run({"--memory", "--save-and-exit", folder_ / "event.ko24"});
  EXPECT_EQ(ended.status, 1);
  const std::string stripped = (folder_ / "event.png").substr(1);
  EXPECT_THAT(ended.error, EndsWith("Can't open " + stripped + "\n"));
  EXPECT_FALSE(exists(stripped));
}

TEST_F(program_pictures, never_replace_an_input) {
  std::filesystem::rename(folder_ / "event.ko24", folder_ / "event.png");
  const std::string before = folder_.read("event.png");
  const auto ended = run({"--memory", "--save-and-exit", "event.png"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.error, HasSubstr("Can't open event.png\n"));
  EXPECT_TRUE(folder_.read("event.png") == before);
}

TEST_F(program_pictures, of_a_plot_too_wide_leave_the_results) {
  const auto ended =
      run({"--memory", "--save-and-exit", "-c", "--force=0-1456900000", "event.ko24"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.error, AllOf(HasSubstr("--compact"), HasSubstr("--range")));
  EXPECT_NE(folder_.read("event.az"), "");
  EXPECT_FALSE(exists("event.png"));
}

TEST_F(program_pictures, memory_without_saving_ends_at_once) {
  const auto ended = run({"--memory", "event.ko24"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.error, HasSubstr("file: event.ko24"));
  EXPECT_FALSE(exists("event.png"));
}

TEST_F(program_pictures, without_a_screen_the_usual_run_ends) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"event.ko24"}, {"--memory", "-g4", "event.ko24"}}) {
    const auto ended = run(arguments);
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.signal, 0);
    EXPECT_THAT(ended.error, HasSubstr("\nGrSetMode: "));
  }
  EXPECT_EQ(run({"-g4", "--memory", "event.ko24"}).status, 0);
}

}  // namespace
