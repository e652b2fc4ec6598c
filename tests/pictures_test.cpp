// Complete plots, pixel for pixel; what they work out before they draw; pictures of the program.
// After a wanted change: run with TAVRIK_UPDATE_PICTURES=1 and look at every picture before it is
// committed.

#include "tests/support/pictures.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "graphics/window.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"
#include "tests/support/not_finite.h"
#include "tests/support/program_runner.h"
#include "tests/support/temporary_folder.h"
#include "tools/recording.h"

#include "src/caption.h"
#include "src/circular_plot.h"
#include "src/options.h"
#include "src/plot_routines.h"
#include "src/result_plot.h"
#include "src/save_plot.h"
#include "src/viewer.h"
#include "src/viewer_keys.h"

namespace {

using namespace tavrik;
using support::inf;
using support::nan;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::HasSubstr;

constexpr double pace = 4;  // seconds from window to window: exact in every time

/// 0..1, by whole numbers alone so that it is the same everywhere.
double spread(long number, long period) {
  return static_cast<double>(number % period) / static_cast<double>(period);
}

/// An arrival from 300 degrees in the middle of scattered directions, and windows without one.
template <long count>
ResultSeries arrival() {
  ResultSeries series = {16, {}};
  for (long i = 0; i < count; ++i) {
    const bool wave = i > count / 3 && i < count / 2;
    ResultRecord record;
    record.time = 1456812000 + pace * static_cast<double>(i);
    record.az = wave ? 298 + 4 * spread(i * 7, 11) : 360 * spread(i * 73, 359);
    record.vel2 = wave ? 330 + 30 * spread(i * 5, 13) : 100 + 2900 * spread(i * 89, 211);
    record.cmax = wave ? 0.9 + 0.1 * spread(i, 7) : 0.1 + 0.5 * spread(i * 3, 17);
    record.slope = wave ? 4 : 1 - 1.2 * spread(i * 11, 29);
    record.quality = wave ? 60 + 40 * spread(i, 5) : 10 * spread(i * 19, 23);
    if (i % 10 == 9) {
      record.az = record.vel2 = nan;
    }
    series.records.push_back(record);
  }
  return series;
}

constexpr auto three_minutes = arrival<45>;
constexpr auto twenty_minutes = arrival<300>;
constexpr auto two_hours = arrival<1800>;

/// Times of day from ten minutes before midnight to ten after it.
ResultSeries midnight() {
  ResultSeries series = twenty_minutes();
  double time = 86400 - 600;
  for (ResultRecord& record : series.records) {
    record.time = time;
    time = time + pace < 86400 ? time + pace : time + pace - 86400;
  }
  return series;
}

/// A window where nobody types: waiting there ends the run.
constexpr gr::WindowDriver lonely_window = {nullptr,
                                            nullptr,
                                            [](const char*) {},
                                            [](const gr::Canvas&, const gr::Palette&) {},
                                            [](gr::EventQueue&, bool) { throw ProcessEnded{0}; },
                                            [] {}};

const struct {
  const char* name;
  ResultSeries (*series)();
  std::vector<std::string> options;
  std::vector<int> keys;
  int up = 0;  ///< rows that the plot is moved up
} accepted[] = {
    {"result", twenty_minutes, {}, {}},
    {"result_mode_1", twenty_minutes, {"-g1"}, {}},
    {"result_mode_2", three_minutes, {"-g2"}, {}},
    {"result_mode_3", three_minutes, {"-g3"}, {}},
    {"result_mode_5", three_minutes, {"-g5"}, {}},
    {"result_mode_6", three_minutes, {"-g6"}, {}, 350},  // more rows than the canvas has
    {"result_mode_7", three_minutes, {"-g7"}, {}},
    {"result_maxcrs", twenty_minutes, {"-tmaxcrs"}, {}},
    {"result_slopes", twenty_minutes, {"--lsq-plot"}, {}},
    {"result_minutes_of_centers", three_minutes, {}, {'u', 'b'}},
    {"result_compact", two_hours, {"--compact=3"}, {}},
    {"result_velocity_maximum", twenty_minutes, {"-xplaces", "--title=K\xc3\xa4lla A"}, {}},
    {"result_mean_bars", twenty_minutes, {"--plotcaz", "-h0.5"}, {}},
    {"result_logarithmic_bars", twenty_minutes, {"--plotcaz", "--logcaz"}, {gr::key_right}},
    {"result_forced_range", twenty_minutes, {"--force=1456811700-1456813700"}, {}},
    {"result_midnight", midnight, {}, {}},
    {"circular", twenty_minutes, {"--hist-size=36"}, {'2', '+'}},
    {"circular_velocity", twenty_minutes, {"-h0.5"}, {'3', '-', '-', gr::key_page_down}},
    {"complete_short", three_minutes, {}, {save_and_exit_key}},
    {"complete_wide", two_hours, {"--plotcaz"}, {'2', save_and_exit_key}},
    {"help", three_minutes, {}, {'3', gr::key_left, 'h'}},
};

class plots : public FreshState {
 protected:
  plots() {
    unsetenv("ZENVUE_FONT");
    std::filesystem::current_path(folder_.path());
    std::filesystem::create_directory("data");
    recording::write_coordinates("places", recording::Positions());
  }

  ~plots() override { std::filesystem::current_path(before_); }

  /// Opens a memory canvas, for a run with these options.
  static void open_canvas(std::vector<std::string> options) {
    options.insert(options.begin(), {"tavrik", "--quiet"});
    std::vector<char*> arguments;
    arguments.reserve(options.size() + 1);
    for (std::string& option : options) {
      arguments.push_back(option.data());
    }
    arguments.push_back(nullptr);
    reset();
    parse_command_line(arguments);
    settings.memory = true;
    graphics_init(settings.graphics_mode);
  }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
  support::TemporaryFolder folder_;
};

TEST_F(plots, are_the_accepted_ones_and_none_is_left_over) {
  for (const auto& row : accepted) {
    open_canvas(row.options);
    display_state.vertical_offset = row.up;
    for (const int key : row.keys) {
      gr::push_event({.key = key});
    }
    gr::graphics.window = &lonely_window;
    std::size_t file = 0;
    exit_status([&] { display(row.series(), {"data/rasvik.ko24"}, file); });
    support::expect_accepted(row.name);
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(TAVRIK_PICTURES), {}),
            std::ssize(accepted));
}

/// On a screen the plot is gathered screen by screen, in memory drawn at once; either way no mark
/// is cut, however large.
TEST_F(plots, a_complete_plot_is_the_same_from_a_screen_and_from_memory) {
  for (const double loudness : {1, 3, 40}) {
    SCOPED_TRACE(loudness);
    open_canvas({"--lsq-plot", loudness > 1 ? "-tmaxcrs" : "-tnormal"});
    ResultSeries series = two_hours();
    for (ResultRecord& record : series.records) {
      record.cmax *= loudness;
    }
    display_state = {.div = 7, .horizontal_offset = -321};
    settings.memory = false;  // the surface at hand serves as the screen
    save_complete_plot("slices.ko24", series);
    settings.memory = true;
    save_complete_plot("once.ko24", series);
    EXPECT_GT(support::current_image().width, 2 * 800);
    support::expect_same("once", support::load_image("once.png"), support::current_image());
    support::expect_same("slices", support::load_image("slices.png"), support::current_image());
  }
}

/// Records with these values in one member.
ResultSeries series_of(double ResultRecord::*member, const std::vector<double>& values) {
  ResultSeries series = {16, std::vector<ResultRecord>(values.size())};
  for (std::size_t i = 0; i < values.size(); ++i) {
    series.records[i].*member = values[i];
  }
  return series;
}

ResultSeries at_times(const std::vector<double>& times) {
  return series_of(&ResultRecord::time, times);
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

TEST_F(plots, plot_times) {
  const struct {
    const char* name;
    std::vector<double> times;
    std::vector<std::string> options;
    double first, last, step;
    int width;
  } rows[] = {
      {"no record: a window's step of 128 samples", {}, {}, 0, 8, 8, 1},
      {"one record, steps of 16 samples", {100}, {"-s16"}, 100, 101, 1, 1},
      {"a gap at first: the step that comes twice", {0, 100, 104, 108}, {}, 0, 108, 4, 27},
      {"almost equal steps", {0, 5, 9, 13.00009}, {}, 0, 13.00009, 4, 3},
      {"no two equal steps: the first", {0, 4, 9, 15}, {}, 0, 15, 4, 3},
      {"no time passes", {7, 7, 7}, {}, 7, 15, 8, 1},
      {"wider than any picture", {0, 1, 2, 5e6}, {}, 0, 5e6, 1, 5000000},
      {"compact", {0, 1, 2, 5e6}, {"--compact=300"}, 0, 5e6, 1, 16666},
      {"over midnight", {86392, 86396, 0, 4}, {}, 86392, 4, 4, 3},
      {"a day back", {186400, 186404, 100000}, {}, 186400, 186404, 4, 1},
      {"more than a day back", {200000, 200004, 0}, {}, 200000, 0, 4, 0},
      {"forced: at most 64 samples", {1010, 1015}, {"--force=1000-1100"}, 1000, 1100, 4, 25},
      {"forced: a shorter step", {1010, 1011}, {"--force=1000-1100"}, 1000, 1100, 1, 100},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    open_canvas(row.options);
    EXPECT_THAT(plot_times(at_times(row.times), settings),
                FieldsAre(row.first, row.last, row.step, row.width));
  }
  open_canvas({});
  const support::CapturedStderr captured;
  for (const double last : {5e9, 1e300, inf, nan}) {
    EXPECT_EQ(exit_status([&] { plot_times(at_times({0, 1, 2, last}), settings); }), 1) << last;
  }
}

TEST_F(plots, velocity_maximum_keeps_two_outliers_off) {
  const std::pair<std::vector<double>, double> rows[] = {{{300, 400}, 1000},
                                                         {{300, 400, 500}, 300},
                                                         {{300, 10, 400, 350, 500, 450}, 300},
                                                         {{300, 400, 400, 500}, 300},
                                                         {{300, 400, 500, 9000}, 400},
                                                         {{0, 400, 500}, 1000},
                                                         {{300, 400, inf, inf}, 300}};
  for (const auto& [velocities, maximum] : rows) {
    auto records = series_of(&ResultRecord::vel2, velocities).records;
    records.insert(records.begin() + 1, {.az = nan, .vel2 = 350});
    settings.coord_loaded = false;
    EXPECT_EQ(velocity_maximum(records, settings), 1000);
    settings.coord_loaded = true;
    EXPECT_EQ(velocity_maximum(records, settings), maximum) << testing::PrintToString(velocities);
  }
}

TEST_F(plots, azimuths_are_counted_in_rows_and_in_sectors) {
  auto records =
      series_of(&ResultRecord::az, {0, 89.99, 90, 179, 359.99, 360, nan, 100, inf, -1}).records;
  const double cmax[] = {0.9, 0.5, 0.4, 0.5, 0.9, 0.9, 0.9, nan, 0.9, 0.9};
  for (std::size_t i = 0; i < records.size(); ++i) {
    records[i].cmax = cmax[i];
    records[i].quality = static_cast<double>(1 << i);
  }
  EXPECT_THAT(count_azimuths(records, 4, 0.5),
              ElementsAre(FieldsAre(2, 2, 3), FieldsAre(3, 1, 140), FieldsAre(0, 0, 0),
                          FieldsAre(1, 1, 16), FieldsAre(1, 1, 32)));
  EXPECT_THAT(count_sectors(records, 4, 0.5), ElementsAre(3, 1, 0, 1));
  EXPECT_THAT(count_sectors(records, 4, 0), ElementsAre(3, 2, 0, 1));
}

TEST_F(plots, know_what_is_under_the_pointer) {
  open_canvas({});
  ResultSeries series = twenty_minutes();
  const Panels panels = draw_result_plot(series, settings, display_state, BeyondEdge::nothing);
  for (const ResultRecord& record : series.records) {
    const int x = 251 + static_cast<int>(&record - series.records.data());
    const auto at = [&](double row) {
      return record_at(panels, series.records, x, gr::to_coordinate(row));
    };
    EXPECT_EQ(at(390 - record.az) == &record, !std::isnan(record.az)) << x;
    EXPECT_EQ(at(std::max(391.0, 540 - record.vel2 * 0.15)) == &record, record.vel2 < 1000) << x;
    EXPECT_EQ(at(29), nullptr);
    EXPECT_EQ(at(541), nullptr);
  }
  EXPECT_EQ(record_at(panels, series.records, 248, 200), nullptr);

  series.records.resize(4);
  for (std::size_t i = 0; i < 4; ++i) {
    series.records[i].az = 90.0 * static_cast<double>(i);
    series.records[i].vel2 = 100;
  }
  display_state.time_shift = 1;
  const std::tuple<DotRadius, int, int, int> rows[] = {{DotRadius::velocity, 400, 240, 0},
                                                       {DotRadius::velocity, 470, 310, 1},
                                                       {DotRadius::velocity, 0, 300, 3},
                                                       {DotRadius::window_number, 401, 300, 1},
                                                       {DotRadius::window_number, 400, 302, 2}};
  for (const auto& [radius, x, y, record] : rows) {
    EXPECT_EQ(nearest_dot(series.records, display_state, radius, x, y), &series.records[record]);
  }
  EXPECT_EQ(nearest_dot(filled(7, nan).records, display_state, DotRadius::velocity, 9, 9), nullptr);
  EXPECT_EQ(describe({.az = 1, .vel2 = 340.6, .cmax = 0.5, .time = 1456812000}, 3601.26),
            "2016-03-01 07:00:01.2  azimuth 1.0  velocity 341 m/s  correlation 0.50");
}

TEST_F(plots, hostile_series_are_drawn) {
  std::vector<ResultSeries> hostile = {at_times({90, 50, 40, 35}),
                                       at_times({186400, 186404, 100000}),
                                       at_times({1e9, 1e9 + 4, 5}),
                                       at_times({0.3, 0.3 + 2e-11, 0.3 + 4e-11}),
                                       series_of(&ResultRecord::vel2, {inf, inf, inf}),
                                       series_of(&ResultRecord::vel2, {1e-300, 2e-300, 300}),
                                       series_of(&ResultRecord::vel2, {8e307, 1.6e308, 1.7e308}),
                                       filled(0, 45),
                                       filled(1, 45)};
  for (const double value : {45.0, 360.0, nan, inf, -inf, 1e300, -1e300}) {
    hostile.push_back(filled(7, value));
  }
  for (const double step : {0.0, 1e-6, 1e8, 1e300}) {
    hostile.push_back(filled(30, 10, step));
  }
  for (const ResultSeries& series : hostile) {
    for (int mode = 1; mode <= 7; ++mode) {
      SCOPED_TRACE(testing::Message()
                   << "series " << &series - hostile.data() << ", mode " << mode);
      open_canvas({"-g" + std::to_string(mode), "--lsq-plot", "--plotcaz"});
      settings.logcaz = mode % 2 == 0;
      settings.coord_loaded = mode % 3 == 0;
      settings.type = mode % 2 == 0 ? MarkerType::maxcrs : MarkerType::normal;
      settings.compact = mode == 5 ? 1000000 : 1;
      display_state.time_shift = -30;
      for (const auto plot : {result_plot, circular_plot, circular_velocity_plot}) {
        EXPECT_EQ(plot("x", series, save_and_exit_key), save_and_exit_key);
      }
      // A tick far left of the panel widens nothing.
      EXPECT_GE(display_state.least_x, (800 - plot_times(series, settings).width) / 2 - 99);
      EXPECT_LE(display_state.least_x, display_state.greatest_x);
    }
  }
}

TEST(strippath, takes_the_usual_folders_off) {
  const char* const rows[][2] = {{"data/x", "data/x"},
                                 {"//home/korla/korla/x", "x"},
                                 {"home/x", "x"},
                                 {"/korla/home/x", "home/x"},
                                 {"/home/home/korla/x", "home/korla/x"},
                                 {"korla-2016/x", "korla-2016/x"},
                                 {"/", ""}};
  for (const auto& [path, stripped] : rows) {
    EXPECT_EQ(strippath(path), stripped) << path;
  }
}

class program_pictures : public testing::Test {
 protected:
  program_pictures() {
    write_ko24(folder_ / "event.ko24", recording::compute_recording({.length = 150}), 1);
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "SDL_VIDEODRIVER"}) {
      unsetenv(name);
    }
  }

  /// Runs without a window, and saves a picture.
  support::Ended save(std::vector<std::string> arguments, const char* before = ":") const {
    arguments.insert(arguments.begin(), {"--memory", "--save-and-exit"});
    return support::run_program(folder_.path().string(), arguments, before);
  }

  void expect_failure(const support::Ended& ended, const std::string& said) const {
    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.error, HasSubstr(said));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "event.png"));
  }

  support::TemporaryFolder folder_;
};

TEST_F(program_pictures, are_saved_beside_the_data_or_go_to_the_standard_output) {
  EXPECT_EQ(save({"event.ko24"}).output, "");
  EXPECT_EQ(support::load_image(folder_ / "event.png").height, 600);
  const std::string file = folder_.read("event.png");
  for (const char* option : {"--compact=2", "--center-time"}) {
    EXPECT_EQ(save({"--no-join", option, "event.ko24", "none.ko24"}).status, 0);
    EXPECT_FALSE(folder_.read("event.png") == file) << option;
  }
  std::filesystem::remove(folder_ / "event.png");
  EXPECT_TRUE(save({"--stdout", "event.ko24"}).output == file);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "event.png"));
}

TEST_F(program_pictures, that_show_less_or_can_not_be_saved_are_reported) {
  EXPECT_THAT(save({"-g6", "--memory", "event.ko24"}).error,
              HasSubstr("\nWARNING: no room in a picture of -g6 for azimuths below 75, "));
  EXPECT_THAT(save({"-g7", "--memory", "event.ko24"}).error, HasSubstr("\nWARNING: -g7 shows no "));
  std::filesystem::remove(folder_ / "event.png");
  expect_failure(save({"--stdout", "event.ko24"}, support::break_output),
                 "Can't write standard output\n");
  expect_failure(save({"-c", "--force=0-1456900000", "event.ko24"}),
                 "Error: the plot is too wide: use --compact=# or --range=t0-t1\n");
  EXPECT_NE(folder_.read("event.az"), "");
  // The panels alone would not be.
  expect_failure(save({"-c", "-s18", "--force=1456790400-1457090390", "event.ko24"}),
                 "Error: the plot is too wide: use --compact=# or --range=t0-t1\n");
  expect_failure(save({"-g4", "event.ko24"}), "\nGrSetMode: ");
  // An absolute path is stripped, and no folder is made for it.
  const std::string stripped = (folder_ / "event.png").substr(1);
  expect_failure(save({folder_ / "event.ko24"}),
                 "Can't open " + stripped + "\nWARNING: there is no folder " +
                     stripped.substr(0, stripped.rfind('/')) + " for the picture\n");
  const std::string bytes = folder_.read("event.ko24");
  folder_.write("input.png", bytes);
  expect_failure(save({"input.png"}), "Can't open input.png\n");
  EXPECT_TRUE(folder_.read("input.png") == bytes);
}

TEST_F(program_pictures, no_result_replaces_the_font) {
  const std::string font = folder_.write("event.az",
                                         "STARTFONT 2.1\nFONT a\nSIZE 8 75 75\n"
                                         "FONTBOUNDINGBOX 8 8 0 0\nCHARS 1\nSTARTCHAR q\n"
                                         "ENCODING 63\nSWIDTH 999 0\nDWIDTH 8 0\nBBX 8 1 0 0\n"
                                         "BITMAP\nFF\nENDCHAR\nENDFONT\n");
  const std::string bytes = folder_.read("event.az");
  const auto ended = save({"-c", "event.ko24"}, ("export ZENVUE_FONT=" + font).c_str());
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.error, HasSubstr("Can't open event.az\n"));
  EXPECT_TRUE(folder_.read("event.az") == bytes);
}

TEST_F(program_pictures, are_not_saved_unless_they_are_asked_for_and_there_is_data) {
  EXPECT_EQ(save({"--no-save-and-exit", "event.ko24"}).status, 0);
  write_ko24(folder_ / "short.ko24", recording::compute_recording({.length = 1}), 1);
  folder_.write("short.png", "of a longer file");
  const auto ended = save({"--no-join", "short.ko24", "event.ko24"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.error, HasSubstr("file: short.ko24 No data\nWARNING: short.png showed earlier "
                                     "results and is removed\n"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "short.png"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "event.png"));
}

}  // namespace
