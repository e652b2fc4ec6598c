// Complete plots, pixel for pixel. After a wanted change: run with TAVRIK_UPDATE_PICTURES=1 and
// look at every picture before it is committed.

#include "tests/support/pictures.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "graphics/mode.h"
#include "tests/support/fresh_state.h"
#include "tests/support/temporary_folder.h"

#include "src/circular_plot.h"
#include "src/display_state.h"
#include "src/plot_surface.h"
#include "src/result_plot.h"
#include "src/save_plot.h"
#include "src/settings.h"
#include "src/viewer_keys.h"

namespace {

using namespace tavrik;

constexpr double six_o_clock = 1456812000;  // on 1 March 2016, UTC
constexpr double step = 4;                  // seconds from window to window: exact in every time

/// 0..1, by whole numbers alone so that it is the same everywhere.
double spread(long number, long period) {
  return static_cast<double>(number % period) / static_cast<double>(period);
}

/// An arrival from 300 degrees in the middle of scattered directions, and windows without one.
ResultSeries arrival(long count) {
  ResultSeries series;
  series.sampling_frequency = 16;
  for (long i = 0; i < count; ++i) {
    const bool wave = i > count / 3 && i < count / 2;
    ResultRecord record;
    record.time = six_o_clock + step * static_cast<double>(i);
    record.az = wave ? 298 + 4 * spread(i * 7, 11) : 360 * spread(i * 73, 359);
    record.vel2 = wave ? 330 + 30 * spread(i * 5, 13) : 100 + 2900 * spread(i * 89, 211);
    record.cmax = wave ? 0.9 + 0.1 * spread(i, 7) : 0.1 + 0.5 * spread(i * 3, 17);
    record.slope = wave ? 4 : 1 - 1.2 * spread(i * 11, 29);
    record.quality = wave ? 60 + 40 * spread(i, 5) : 10 * spread(i * 19, 23);
    if (i % 10 == 9) {
      record.az = record.vel2 = std::numeric_limits<double>::quiet_NaN();
    }
    series.records.push_back(record);
  }
  return series;
}

ResultSeries twenty_minutes() {
  return arrival(300);
}

ResultSeries three_minutes() {
  return arrival(45);
}

ResultSeries two_hours() {
  return arrival(1800);
}

/// Times of day from ten minutes before midnight to ten behind it.
ResultSeries midnight() {
  ResultSeries series = twenty_minutes();
  double time = 86400 - 600;
  for (ResultRecord& record : series.records) {
    record.time = time;
    time = time + step < 86400 ? time + step : time + step - 86400;
  }
  return series;
}

using Plot = int (*)(const std::string& name, const ResultSeries& series, int save);

/// The saved picture of a complete plot; draws nothing that is kept.
constexpr Plot saved = nullptr;

struct Row {
  const char* name;
  Plot plot;
  ResultSeries (*series)();
  void (*change)();
};

const Row rows[] = {
    {"result", result_plot, twenty_minutes, [] {}},
    {"result_small_screen", result_plot, twenty_minutes, [] { settings.graphics_mode = 1; }},
    {"result_maxcrs", result_plot, twenty_minutes, [] { settings.type = MarkerType::maxcrs; }},
    {"result_slopes", result_plot, twenty_minutes, [] { settings.lsq_plot = true; }},
    {"result_minutes_of_centers", result_plot, three_minutes,
     [] {
       settings.print_ut = false;
       display_state.center_time = true;
     }},
    {"result_compact", result_plot, two_hours, [] { settings.compact = 3; }},
    {"result_velocity_maximum", result_plot, twenty_minutes,
     [] {
       settings.coord_loaded = true;
       settings.title = "K\xc3\xa4lla A";
     }},
    {"result_mean_bars", result_plot, twenty_minutes,
     [] {
       settings.plotcaz = true;
       settings.crsfilter = 0.5;
     }},
    {"result_logarithmic_bars", result_plot, twenty_minutes,
     [] {
       settings.plotcaz = true;
       settings.logcaz = true;
       display_state.horizontal_offset = -80;
     }},
    {"result_forced_range", result_plot, twenty_minutes,
     [] {
       settings.range_set = settings.range_forced = true;
       settings.range_t0 = six_o_clock - 300;
       settings.range_t1 = six_o_clock + 1700;
     }},
    {"result_midnight", result_plot, midnight, [] {}},
    {"circular", circular_plot, twenty_minutes, [] { settings.hist_size = 36; }},
    {"circular_velocity", circular_velocity_plot, twenty_minutes,
     [] {
       settings.crsfilter = 0.5;
       display_state.div = 4;
       display_state.time_shift = -20;
     }},
    {"complete_short", saved, three_minutes, [] {}},
    {"complete_wide", saved, two_hours, [] { settings.plotcaz = true; }},
};

class pictures : public FreshState {
 protected:
  pictures() {
    unsetenv("ZENVUE_FONT");
    std::filesystem::current_path(folder_.path());
  }

  ~pictures() override { std::filesystem::current_path(before_); }

  static gr::Picture draw(const Row& row) {
    reset();
    settings.memory = true;
    settings.quiet = true;
    row.change();
    graphics_init(settings.graphics_mode);
    const ResultSeries series = row.series();
    if (row.plot != saved) {
      row.plot("data/rasvik.ko24", series, save_and_exit_key);
      return support::current_picture();
    }
    save_complete_plot("rasvik.ko24", series);
    EXPECT_FALSE(picture_failed);
    return gr::load_png("rasvik.png").value_or(gr::Picture());
  }

 private:
  std::filesystem::path before_ = std::filesystem::current_path();
  support::TemporaryFolder folder_;
};

TEST_F(pictures, are_the_accepted_ones) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    support::expect_picture(row.name, draw(row));
  }
}

TEST_F(pictures, none_is_left_over) {
  std::vector<std::string> names;
  for (const Row& row : rows) {
    names.emplace_back(row.name);
  }
  EXPECT_THAT(support::accepted_pictures(), testing::UnorderedElementsAreArray(names));
}

/// On a screen the plot is gathered screen by screen, in memory drawn at once; either way no mark
/// is cut, however large. Afterwards the view is as before.
TEST_F(pictures, a_complete_plot_is_the_same_from_a_screen_and_from_memory) {
  for (const double loudness : {1, 3, 40}) {
    SCOPED_TRACE(loudness);
    reset();
    settings.type = loudness > 1 ? MarkerType::maxcrs : MarkerType::normal;
    settings.lsq_plot = true;
    settings.quiet = true;
    settings.memory = true;
    graphics_init(settings.graphics_mode);
    ResultSeries series = two_hours();
    for (ResultRecord& record : series.records) {
      record.cmax *= loudness;
    }
    display_state.horizontal_offset = -321;
    display_state.div = 7;
    const DisplayState before = display_state;
    settings.memory = false;  // the surface at hand serves as the screen
    save_complete_plot("slices.ko24", series);
    EXPECT_EQ(display_state, before);
    settings.memory = true;
    save_complete_plot("once.ko24", series);
    const auto slices = gr::load_png("slices.png");
    const auto once = gr::load_png("once.png");
    ASSERT_TRUE(slices && once);
    EXPECT_GT(once->context.width, 2 * 800);
    EXPECT_EQ(slices->context.width, once->context.width);
    EXPECT_TRUE(slices->context.pixels == once->context.pixels);
  }
}

}  // namespace
