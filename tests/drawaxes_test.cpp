// Spacings, and ticks read off the pixels.

#include "src/drawaxes.h"

#include <algorithm>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "graphics/mode.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"

#include "src/plot_surface.h"
#include "src/settings.h"

namespace {

using namespace tavrik;
using testing::ElementsAreArray;

using Places = std::vector<int>;

class drawaxes : public FreshState {
 protected:
  /// An empty canvas of 800 columns, with the usual font of 8 by 16 pixels.
  static void open_canvas() {
    unsetenv("ZENVUE_FONT");
    settings.memory = true;
    settings.quiet = true;
    graphics_init(settings.graphics_mode);
    begin_drawing();
  }

  static bool is_drawn(int x, int y) {
    const gr::Context& canvas = gr::surface.screen;
    const auto row = static_cast<std::size_t>(y);
    const std::size_t place = row * static_cast<std::size_t>(canvas.width);
    return canvas.pixels.at(place + static_cast<std::size_t>(x)) == plot_surface.foreground;
  }

  static Places columns_in_row(int y) {
    Places places;
    for (int x = 0; x < gr::GrSizeX(); ++x) {
      if (is_drawn(x, y)) {
        places.push_back(x);
      }
    }
    return places;
  }

  static Places rows_in_column(int x) {
    Places places;
    for (int y = 0; y < gr::GrSizeY(); ++y) {
      if (is_drawn(x, y)) {
        places.push_back(y);
      }
    }
    return places;
  }
};

Places every(int distance, int first, int last) {
  Places places;
  for (int place = first; place <= last; place += distance) {
    places.push_back(place);
  }
  return places;
}

TEST_F(drawaxes, nice_spacing_is_1_2_or_5_times_a_power_of_ten) {
  const struct {
    double a, b;
    double spacing;
    int spacing_class;
  } rows[] = {
      {0, 100, 20, 1},
      {0, 7, 1, 0},
      {0, 7.08, 2, 1},  // a fifth just above the square root of 2
      {0, 14.7, 2, 1},
      {0, 14.8, 5, 2},
      {0, 34.7, 5, 2},
      {0, 34.8, 10, 0},  // ten times the power
      {0, 5, 1, 0},
      {0, 0.035, 0.01, 0},
      {0, 1000, 200, 1},
      {-3, 4, 1, 0},
      {1e300, 2e300, 2e299, 1},
      {100, 0, -20, 1},
      {34.8, 0, -10, 0},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.a << " to " << row.b);
    const NiceSpacing nice = nice_spacing(row.a, row.b);
    EXPECT_DOUBLE_EQ(nice.spacing, row.spacing);
    EXPECT_EQ(nice.spacing_class, row.spacing_class);
  }
}

/// The sign of a zero difference is in the message: intended.
TEST_F(drawaxes, equal_ends_end_the_program) {
  for (const double end : {0.0, 3.0, -1e9}) {
    support::CapturedStderr captured;
    EXPECT_EQ(exit_status([end] { nice_spacing(end, end); }), 1);
    EXPECT_EQ(captured.take(), "Error: bad trial inter-tick spacing -0\n");
  }
}

TEST_F(drawaxes, time_ticks_are_on_round_clock_times) {
  constexpr double six = 1456812000;  // 06:00 on a day of 2016, UTC
  constexpr int left = 50;

  const struct {
    const char* name;
    int width;
    double t0, t1;
    Places major, minor;
  } rows[] = {
      {"ten minutes: 2 minutes, 30 s", 600, six, six + 600, every(120, 50, 650),
       every(30, 50, 650)},
      {"one pixel less for 2 minutes than they may have",
       595,
       six,
       six + 600,
       {50, 169, 288, 407, 526, 645},
       {}},
      {"more pixels than 2 minutes may have: 1 minute",
       610,
       six,
       six + 600,
       every(61, 50, 660),
       {}},
      {"a day: an hour, 10 minutes", 720, six, six + 86400, every(30, 50, 770), every(5, 50, 770)},
      {"a second: the finest", 600, six, six + 1, {50, 350, 650}, {50, 250, 450, 650}},
      {"begins between ticks: one left of the panel", 600, six + 30, six + 630, every(120, 20, 620),
       every(30, 50, 650)},
      {"one pixel past the right edge: on it",
       599,
       six,
       six + 599,
       {50, 170, 290, 410, 530, 649},
       {}},
      {"two pixels past", 598, six, six + 598, {50, 170, 290, 410, 530, 648}, {}},
      {"three pixels past: none", 597, six, six + 597, {50, 170, 290, 410, 530}, {}},
      {"over midnight", 600, 86400 - 300, 300, {110, 230, 350, 470, 590}, every(30, 50, 650)},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    open_canvas();
    draw_time_axis(row.width, 100, left, 20, row.t0, row.t1);
    // Only major ticks reach the twelfth row below the first; the labels begin further down.
    EXPECT_THAT(columns_in_row(121 + 12), ElementsAreArray(row.major));
    if (!row.minor.empty()) {
      Places all = row.minor;
      all.insert(all.end(), row.major.begin(), row.major.end());
      std::sort(all.begin(), all.end());
      all.erase(std::unique(all.begin(), all.end()), all.end());
      EXPECT_THAT(columns_in_row(121 + 6), ElementsAreArray(all));
      EXPECT_THAT(columns_in_row(121 + 7), ElementsAreArray(row.major));
    }
    EXPECT_THAT(columns_in_row(120), testing::IsEmpty());
  }
}

TEST_F(drawaxes, time_labels_are_within_the_columns_returned) {
  constexpr double six = 1456812000;
  for (const bool print_ut : {true, false}) {
    SCOPED_TRACE(print_ut);
    open_canvas();
    settings.print_ut = print_ut;
    const Columns columns = draw_time_axis(600, 100, 100, 20, six, six + 600);
    Places drawn;
    for (int x = 0; x < gr::GrSizeX(); ++x) {
      const Places rows = rows_in_column(x);
      if (!rows.empty() && rows.back() > 121 + 15) {
        drawn.push_back(x);
      }
    }
    ASSERT_FALSE(drawn.empty());
    EXPECT_GE(drawn.front(), columns.least);
    EXPECT_LE(drawn.back(), columns.greatest);
    // Five characters of 8 pixels as a clock time, three as minutes of the day, around each end.
    EXPECT_EQ(columns.least, 100 - (print_ut ? 20 : 12));
    EXPECT_EQ(columns.greatest, 700 + (print_ut ? 20 : 12));
  }
}

TEST_F(drawaxes, value_ticks_and_labels) {
  const struct {
    const char* name;
    int height;
    bool integer_steps;
    double lo, hi;
    int label_width;
    Places major, minor;
  } rows[] = {
      {"0 to 100", 100, false, 0, 100, 24, every(20, 49, 149), every(10, 49, 149)},
      {"0 to 7: tenths and fifths are too many", 140, false, 0, 7, 8, every(20, 49, 189),
       every(10, 49, 189)},
      {"0 to 7 in whole steps", 140, true, 0, 7, 8, every(20, 49, 189), every(20, 49, 189)},
      {"fifths of a step of 5", 100, false, 0, 25, 16, every(20, 49, 149), every(4, 49, 149)},
      {"below zero", 100, false, -50, 50, 24, every(20, 59, 139), every(10, 49, 149)},
      {"ends between ticks", 90, false, 5, 95, 16, every(20, 64, 124), every(10, 54, 134)},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    open_canvas();
    constexpr int left = 100;
    constexpr int right = left - 1 + 300;
    EXPECT_EQ(draw_value_axis(300, row.height, left, 50, row.integer_steps, row.lo, row.hi),
              row.label_width);
    for (const int outer : {left - 11, right + 10}) {
      EXPECT_THAT(rows_in_column(outer), ElementsAreArray(row.major)) << outer;
    }
    for (const int inner : {left - 6, right + 5}) {
      EXPECT_THAT(rows_in_column(inner), ElementsAreArray(row.minor)) << inner;
    }
    for (const int between : {left - 12, right + 11}) {
      EXPECT_THAT(rows_in_column(between), testing::IsEmpty()) << between;
    }
    EXPECT_TRUE(rows_in_column(left - 13 - row.label_width).empty());
    EXPECT_TRUE(rows_in_column(right + 12 + row.label_width).empty());
    const int grid = row.major.front();
    EXPECT_TRUE(is_drawn(left - 1, grid) && is_drawn(left + 1, grid) && !is_drawn(left, grid));
    EXPECT_EQ(plot_surface.text.horizontal, gr::HorizontalAlign::left);
    EXPECT_EQ(plot_surface.text.vertical, gr::VerticalAlign::middle);
  }
  EXPECT_EQ(draw_value_axis(300, 100, 100, 50, false, 0, 5e6), 8 * 5);  // "1e+06"
}

}  // namespace
