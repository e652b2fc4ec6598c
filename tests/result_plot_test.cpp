// What the plots work out before they draw, hostile series, and pictures of the real program.

#include "src/result_plot.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "graphics/mode.h"
#include "graphics/png.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/program_runner.h"
#include "tests/support/station_files.h"
#include "tests/support/temporary_folder.h"

#include "src/circular_plot.h"
#include "src/display_state.h"
#include "src/plot_surface.h"
#include "src/save_plot.h"
#include "src/settings.h"
#include "src/viewer_keys.h"

namespace {

using namespace tavrik;
using support::Stream;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::HasSubstr;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

/// Records with these values in one member.
std::vector<ResultRecord> records_with(double ResultRecord::*member,
                                       const std::vector<double>& values) {
  std::vector<ResultRecord> records(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    records[i].*member = values[i];
  }
  return records;
}

ResultSeries at_times(const std::vector<double>& times) {
  return {16, records_with(&ResultRecord::time, times)};
}

/// Every value alike, and a time step.
ResultSeries filled(std::size_t count, double value, double step = 4) {
  ResultSeries series = {
      16, {count, {.az = value, .quality = value, .vel2 = value, .cmax = value, .slope = value}}};
  for (std::size_t i = 0; i < count; ++i) {
    series.records[i].time = 1456812000 + step * static_cast<double>(i);
  }
  return series;
}

class result_plots : public FreshState {
 protected:
  static void open_memory(int mode) {
    unsetenv("ZENVUE_FONT");
    settings.memory = settings.quiet = true;
    settings.graphics_mode = mode;
    graphics_init(mode);
  }
};

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
      {"one record, steps of 16 samples", {100}, [] { settings.cstep = 16; }, 100, 101, 1, 1},
      {"a gap at first: the step that comes twice", {0, 100, 104, 108}, nothing, 0, 108, 4, 27},
      {"almost equal steps", {0, 5, 9, 13.00009}, nothing, 0, 13.00009, 4, 3},
      {"no two equal steps: the first", {0, 4, 9, 15}, nothing, 0, 15, 4, 3},
      {"no time passes", {7, 7, 7}, nothing, 7, 15, 8, 1},
      {"compact", {0, 1, 2, 5e6}, [] { settings.compact = 300; }, 0, 5e6, 1, 16666},
      {"over midnight", {86392, 86396, 0, 4}, nothing, 86392, 4, 4, 3},
      {"a day back", {186400, 186404, 100000}, nothing, 186400, 186404, 4, 1},
      {"more than a day back", {200000, 200004, 0}, nothing, 200000, 0, 4, 0},
      {"forced range: steps of at most 64 samples", {1010, 1015, 1020}, force, 1000, 1100, 4, 25},
      {"forced range, shorter steps", {1010, 1011, 1012}, force, 1000, 1100, 1, 100},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    reset();
    row.change();
    EXPECT_THAT(plot_times(at_times(row.times)),
                FieldsAre(row.first, row.last, row.step, row.width));
  }
}

TEST_F(result_plots, a_plot_that_is_too_wide_is_refused) {
  for (const double last : {5e6, 1e300, inf, nan}) {
    SCOPED_TRACE(last);
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([&] { plot_times(at_times({0, 1, 2, last})); }), 1);
    EXPECT_EQ(captured.take(), "Error: the plot is too wide: use --compact=# or --range=t0-t1\n");
  }
}

TEST_F(result_plots, velocity_maximum_keeps_two_outliers_off) {
  using Row = std::pair<std::vector<double>, double>;
  const Row rows[] = {{{300, 400}, 1000},
                      {{300, 400, 500}, 300},
                      {{300, 10, 400, 350, 500, 450}, 300},
                      {{300, 400, 400, 500}, 300},
                      {{300, 400, 500, 9000}, 400},
                      {{0, 400, 500}, 1000},
                      {{300, 400, inf, inf}, 300}};
  for (const auto& [velocities, maximum] : rows) {
    SCOPED_TRACE(testing::PrintToString(velocities));
    auto records = records_with(&ResultRecord::vel2, velocities);
    settings.coord_loaded = false;
    EXPECT_EQ(velocity_maximum(records), 1000);
    settings.coord_loaded = true;
    EXPECT_EQ(velocity_maximum(records), maximum);
    records.insert(records.begin() + 1, {.az = nan, .vel2 = 350});
    EXPECT_EQ(velocity_maximum(records), maximum);
  }
}

TEST_F(result_plots, azimuths_are_counted_in_rows_and_in_sectors) {
  auto records =
      records_with(&ResultRecord::az, {0, 89.99, 90, 179, 359.99, 360, nan, 100, inf, -1});
  const double cmax[] = {0.9, 0.5, 0.4, 0.5, 0.9, 0.9, 0.9, nan, 0.9, 0.9};
  for (std::size_t i = 0; i < records.size(); ++i) {
    records[i].cmax = cmax[i];
    records[i].quality = static_cast<double>(1 << i);
  }
  EXPECT_THAT(count_azimuths(records, 4, 0.5),
              ElementsAre(FieldsAre(2, 2, 3), FieldsAre(3, 1, 140), FieldsAre(0, 0, 0),
                          FieldsAre(1, 1, 16), FieldsAre(1, 1, 32)));
  EXPECT_EQ(count_azimuths(records, 0, 0).size(), 1U);  // a mode without panels
  EXPECT_THAT(count_sectors(records, 4, 0.5), ElementsAre(3, 1, 0, 1));
  EXPECT_THAT(count_sectors(records, 4, 0), ElementsAre(3, 2, 0, 1));
}

TEST_F(result_plots, strippath) {
  const char* const rows[][2] = {{"data/x", "data/x"},
                                 {"//home/korla/korla/x", "x"},
                                 {"home/x", "x"},
                                 {"/korla/home/x", "home/x"},
                                 {"/home/home/korla/x", "home/korla/x"},
                                 {"korla-2016/x", "korla-2016/x"},
                                 {"/", ""}};
  for (const auto& [path, stripped] : rows) {
    EXPECT_EQ(tavrik::strippath(path), stripped) << path;
  }
}

TEST_F(result_plots, hostile_series_are_drawn) {
  std::vector<ResultSeries> hostile = {filled(0, 45), filled(1, 45), filled(7, 45)};
  for (const double value : {360.0, nan, inf, -inf, 1e300, -1e300}) {
    hostile.push_back(filled(50, value));
  }
  for (const double step : {0.0, 1e-6, 1e8, 1e300}) {
    hostile.push_back(filled(30, 10, step));
  }
  for (const auto& velocities :
       {std::vector{inf, inf, inf}, {1e-300, 2e-300, 300}, {8e307, 1.6e308, 1.7e308}}) {
    hostile.push_back({16, records_with(&ResultRecord::vel2, velocities)});
  }
  for (const auto& times :
       {std::vector<double>{90, 50, 40, 35}, {186400, 186404, 100000}, {1e9, 1e9 + 4, 5}}) {
    hostile.push_back(at_times(times));
  }
  for (const ResultSeries& series : hostile) {
    for (int mode = 1; mode <= 7; ++mode) {
      SCOPED_TRACE(testing::Message()
                   << "series " << &series - hostile.data() << ", mode " << mode);
      reset();
      settings.lsq_plot = settings.plotcaz = true;
      settings.logcaz = mode % 2 == 0;
      settings.coord_loaded = mode % 3 == 0;
      settings.type = mode % 2 == 0 ? MarkerType::maxcrs : MarkerType::normal;
      settings.compact = mode == 5 ? 1000000 : 1;
      display_state.time_shift = -30;
      open_memory(mode);
      for (const auto plot : {result_plot, circular_plot, circular_velocity_plot}) {
        EXPECT_EQ(plot("x", series, save_and_exit_key), save_and_exit_key);
      }
      EXPECT_LE(display_state.least_x, display_state.greatest_x);
    }
  }
}

class program_pictures : public testing::Test {
 protected:
  program_pictures() {
    const auto channel = [](std::size_t number) {
      return support::placed_samples(number, 0, 2400);
    };
    const std::vector<std::vector<std::int32_t>> channels = {channel(0), channel(1), channel(2)};
    folder_.write("event.ko24", support::Ko24File({}).add_channels(channels).bytes());
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "ZENVUE_FONT", "SDL_VIDEODRIVER"}) {
      unsetenv(name);
    }
  }

  /// Runs without a window, and saves a picture.
  support::Ended save(std::vector<std::string> arguments, Stream output = Stream::kept) const {
    arguments.insert(arguments.begin(), {"--memory", "--save-and-exit"});
    return support::run_program(folder_.path().string(), arguments, {.output = output});
  }

  bool has_picture() const { return std::filesystem::exists(folder_ / "event.png"); }

  support::TemporaryFolder folder_;
};

TEST_F(program_pictures, are_saved_beside_the_data_or_go_to_the_standard_output) {
  const auto usual = save({"event.ko24"});
  EXPECT_EQ(usual.status, 0);
  EXPECT_EQ(usual.output, "");
  EXPECT_EQ(gr::load_png(folder_ / "event.png").value_or(gr::Picture()).context.height, 600);
  const std::string file = folder_.read("event.png");
  EXPECT_EQ(save({"--no-join", "event.ko24", "none.ko24"}).status, 0);
  EXPECT_TRUE(folder_.read("event.png") == file);
  EXPECT_EQ(save({"--compact=2", "event.ko24"}).status, 0);
  EXPECT_FALSE(folder_.read("event.png") == file);
  std::filesystem::remove(folder_ / "event.png");
  EXPECT_TRUE(save({"--stdout", "event.ko24"}).output == file);
  EXPECT_FALSE(has_picture());
}

TEST_F(program_pictures, that_can_not_be_written_end_the_run_with_status_1) {
  const auto expect_failure = [](const support::Ended& ended, const std::string& said) {
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.error, HasSubstr(said));
  };
  expect_failure(save({"--stdout", "event.ko24"}, Stream::broken), "Can't write standard output\n");
  expect_failure(save({"-c", "--force=0-1456900000", "event.ko24"}), "the plot is too wide");
  EXPECT_NE(folder_.read("event.az"), "");
  // An absolute path is stripped, and no folder is made for it.
  expect_failure(save({folder_ / "event.ko24"}), "Can't open " + (folder_ / "event.png").substr(1));
  EXPECT_FALSE(has_picture());
  std::filesystem::rename(folder_ / "event.ko24", folder_ / "event.png");
  const std::string before = folder_.read("event.png");
  expect_failure(save({"event.png"}), "Can't open event.png\n");
  EXPECT_TRUE(folder_.read("event.png") == before);
}

TEST_F(program_pictures, are_not_saved_unless_they_are_asked_for) {
  EXPECT_EQ(save({"--no-save-and-exit", "event.ko24"}).status, 0);
  EXPECT_FALSE(has_picture());
  const auto without_screen = save({"-g4", "event.ko24"});
  EXPECT_EQ(without_screen.status, 1);
  EXPECT_THAT(without_screen.error, HasSubstr("\nGrSetMode: "));
}

}  // namespace
