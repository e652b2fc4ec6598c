// Spacings, and ticks read off the pixels.

#include "src/drawaxes.h"

#include <algorithm>
#include <cstdlib>
#include <gmock/gmock.h>
#include <iterator>
#include <vector>

#include "graphics/mode.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"

#include "src/plot_surface.h"
#include "src/settings.h"

namespace {

using namespace tavrik;
using testing::DoubleEq;
using testing::FieldsAre;

using Places = std::vector<int>;

constexpr double six = 1456812000;  // 06:00 on a day of 2016, UTC

Places every(int distance, int first, int last) {
  Places places;
  for (int place = first; place <= last; place += distance) {
    places.push_back(place);
  }
  return places;
}

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
    const auto row = static_cast<std::size_t>(y), width = static_cast<std::size_t>(gr::GrSizeX());
    return gr::surface.screen.pixels.at(row * width + static_cast<std::size_t>(x)) ==
           plot_surface.foreground;
  }

  static Places columns_in_row(int y) {
    Places places = every(1, 0, gr::GrSizeX() - 1);
    std::erase_if(places, [y](int x) { return !is_drawn(x, y); });
    return places;
  }

  static Places rows_in_column(int x) {
    Places places = every(1, 0, gr::GrSizeY() - 1);
    std::erase_if(places, [x](int y) { return !is_drawn(x, y); });
    return places;
  }
};

TEST_F(drawaxes, nice_spacing_is_1_2_or_5_times_a_power_of_ten) {
  const struct {
    double a, b, spacing;
    int spacing_class;
  } rows[] = {{0, 100, 20, 1},          {0, 7, 1, 0},        {0, 7.08, 2, 1},
              {0, 14.7, 2, 1},          {0, 14.8, 5, 2},     {0, 34.7, 5, 2},
              {0, 34.8, 10, 0},         {0, 0.035, 0.01, 0}, {-3, 4, 1, 0},
              {1e300, 2e300, 2e299, 1}, {100, 0, -20, 1}};

  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.a << " to " << row.b);
    EXPECT_THAT(nice_spacing(row.a, row.b), FieldsAre(DoubleEq(row.spacing), row.spacing_class));
  }
  support::CapturedStderr captured;  // the sign of a zero difference is in the message: intended
  EXPECT_EQ(exit_status([] { nice_spacing(3, 3); }), 1);
  EXPECT_EQ(captured.take(), "Error: bad trial inter-tick spacing -0\n");
}

TEST_F(drawaxes, time_ticks_are_on_round_clock_times) {
  const struct {
    int width;
    double t0, t1;
    Places major, minor;
  } rows[] = {
      // As many pixels as 2 minutes may have, one less, and more: 1 minute.
      {600, six, six + 600, every(120, 50, 650), every(30, 50, 650)},
      {595, six, six + 600, {50, 169, 288, 407, 526, 645}, {}},
      {610, six, six + 600, every(61, 50, 660), {}},
      // A day: an hour and 10 minutes. A second: the finest, whose ticks do not meet.
      {720, six, six + 86400, every(30, 50, 770), every(5, 50, 770)},
      {600, six, six + 1, {50, 350, 650}, {50, 250, 450, 650}},
      // Begins between ticks: one left of the panel.
      {600, six + 30, six + 630, every(120, 20, 620), every(30, 50, 650)},
      // One pixel past the right edge: on it; two; three: none.
      {599, six, six + 599, {50, 170, 290, 410, 530, 649}, {}},
      {598, six, six + 598, {50, 170, 290, 410, 530, 648}, {}},
      {597, six, six + 597, {50, 170, 290, 410, 530}, {}},
      // Over midnight.
      {600, 86400 - 300, 300, {110, 230, 350, 470, 590}, every(30, 50, 650)},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    open_canvas();
    draw_time_axis(row.width, 100, 50, 20, row.t0, row.t1);
    // Only major ticks reach the twelfth row below the first; the labels begin further down.
    EXPECT_EQ(columns_in_row(121 + 12), row.major);
    if (!row.minor.empty()) {
      Places all;
      std::set_union(row.major.begin(), row.major.end(), row.minor.begin(), row.minor.end(),
                     std::back_inserter(all));
      EXPECT_EQ(columns_in_row(121 + 6), all);
      EXPECT_EQ(columns_in_row(121 + 7), row.major);
    }
    EXPECT_EQ(columns_in_row(120), Places());
  }
}

// Five characters of 8 pixels as a clock time, three as minutes of the day, around each end.
TEST_F(drawaxes, time_labels_are_within_the_columns_returned) {
  open_canvas();
  EXPECT_THAT(draw_time_axis(600, 100, 100, 20, six, six + 600), FieldsAre(80, 720));
  EXPECT_EQ(rows_in_column(79), Places());
  EXPECT_EQ(rows_in_column(720), Places());
  settings.print_ut = false;
  EXPECT_THAT(draw_time_axis(600, 100, 100, 20, six, six + 600), FieldsAre(88, 712));
}

TEST_F(drawaxes, value_ticks_and_labels) {
  const struct {
    int height;
    bool integer_steps;
    double lo, hi;
    int label_width;
    Places major, minor;
  } rows[] = {
      {100, false, 0, 100, 24, every(20, 49, 149), every(10, 49, 149)},
      // Tenths and fifths are too many; fifths of a step of 5; ends between ticks.
      {140, false, 0, 7, 8, every(20, 49, 189), every(10, 49, 189)},
      {140, true, 0, 7, 8, every(20, 49, 189), every(20, 49, 189)},
      {100, false, 0, 25, 16, every(20, 49, 149), every(4, 49, 149)},
      {100, false, -50, 50, 24, every(20, 59, 139), every(10, 49, 149)},
      {90, false, 5, 95, 16, every(20, 64, 124), every(10, 54, 134)},
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    open_canvas();
    constexpr int left = 100;
    constexpr int right = left - 1 + 300;
    EXPECT_EQ(draw_value_axis(300, row.height, left, 50, row.integer_steps, row.lo, row.hi),
              row.label_width);
    EXPECT_EQ(rows_in_column(left - 11), row.major);
    EXPECT_EQ(rows_in_column(right + 10), row.major);
    EXPECT_EQ(rows_in_column(left - 6), row.minor);
    EXPECT_EQ(rows_in_column(right + 5), row.minor);
    EXPECT_EQ(rows_in_column(left - 12), Places());
    EXPECT_EQ(rows_in_column(right + 11), Places());
  }
  EXPECT_EQ(draw_value_axis(300, 100, 100, 50, false, 0, 5e6), 8 * 5);  // "1e+06"
}

}  // namespace
