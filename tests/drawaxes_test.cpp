// Spacings, and ticks where no accepted picture has them, read off the pixels.

#include "src/drawaxes.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <string>
#include <tuple>
#include <vector>

#include "graphics/mode.h"
#include "tests/support/captured_stderr.h"
#include "tests/support/fresh_state.h"

#include "src/plot_surface.h"
#include "src/settings.h"

namespace {

using namespace tavrik;
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
  ~drawaxes() override { unsetenv("ZENVUE_FONT"); }

  /// An empty canvas of 800 by 600 pixels, with a font or the usual one of 8 by 16 pixels.
  static void open_canvas(const char* font) {
    setenv("ZENVUE_FONT", font, 1);
    settings.memory = true;
    settings.quiet = true;
    graphics_init(settings.graphics_mode);
    begin_drawing(display_state);
  }

  static Places drawn(int first_pixel, int stride, int count) {
    Places places = every(1, 0, count - 1);
    std::erase_if(places, [=](int i) {
      return gr::graphics.canvas.pixels.at(first_pixel + i * stride) != plot_surface.foreground;
    });
    return places;
  }

  static Places columns_in_row(int y) { return drawn(800 * y, 1, 800); }

  static Places rows_in_column(int x) { return drawn(x, 800, 600); }
};

TEST_F(drawaxes, nice_spacing_is_1_2_or_5_times_a_power_of_ten) {
  const std::tuple<double, double, int> rows[] = {
      {7, 1, 0},    {7.08, 2, 1},   {14.7, 2, 1},     {14.8, 5, 2},
      {34.7, 5, 2}, {34.8, 10, 0},  {0.035, 0.01, 0}, {1e300, 2e299, 1},
      {-7, -1, 0},  {-14.8, -5, 2}, {-7.08, -2, 1},   {-34.8, -10, 0}};

  for (const auto& [b, spacing, rule] : rows) {
    EXPECT_THAT(nice_spacing(0, b), FieldsAre(testing::DoubleEq(spacing), rule));
  }
  support::CapturedStderr captured;  // the sign of a zero difference is in the message: intended
  EXPECT_EQ(exit_status([] { nice_spacing(3, 3); }), 1);
  EXPECT_EQ(captured.take(), "Error: bad trial inter-tick spacing -0\n");
}

TEST_F(drawaxes, time_ticks_are_on_round_clock_times) {
  constexpr int major = 12, any = 6;  // rows that only major ticks reach, and that all do

  const std::tuple<int, double, double, int, Places> rows[] = {
      // As many pixels as 2 minutes may have. A day: an hour and 10 minutes. A second: the finest.
      {600, six, six + 600, any, every(30, 50, 650)},
      {720, six, six + 86400, major, every(30, 50, 770)},
      {720, six, six + 86400, any, every(5, 50, 770)},
      {600, six, six + 1, major, {50, 350, 650}},
      {600, six, six + 1, any, {50, 250, 350, 450, 650}},
      // Begins between ticks: one left of the panel.
      {600, six + 30, six + 630, major, every(120, 20, 620)},
      {600, six + 30, six + 630, any, every(30, 20, 650)},
      // Two pixels past the right edge: on it; three: none.
      {598, six, six + 598, major, {50, 170, 290, 410, 530, 648}},
      {597, six, six + 597, major, {50, 170, 290, 410, 530}},
  };

  for (const auto& [width, t0, t1, row, ticks] : rows) {
    open_canvas("");
    draw_time_axis(width, 100, 50, 20, t0, t1, settings.print_ut);
    EXPECT_EQ(columns_in_row(121 + row), ticks) << width << ' ' << t0 << ' ' << t1;
  }
  // Five characters of 8 pixels as a clock time, three as minutes of the day, around the end.
  EXPECT_EQ(draw_time_axis(600, 100, 100, 20, six, six + 600, settings.print_ut), 720);
  settings.print_ut = false;
  EXPECT_EQ(draw_time_axis(600, 100, 100, 20, six, six + 600, settings.print_ut), 712);
}

TEST_F(drawaxes, value_ticks_and_labels_in_the_font_that_is_named_or_else_the_usual_one) {
  const std::tuple<std::string, bool, double, double, int, Places, Places> rows[] = {
      // Tenths and fifths are too many; fifths of a step of 5; ends between ticks.
      {"", false, 0, 7, 8, every(20, 49, 189), every(10, 49, 189)},
      {"none", true, 0, 7, 8, every(20, 49, 189), every(20, 49, 189)},
      {"pc6x8", false, 0, 28, 12, every(25, 64, 189), every(5, 49, 189)},
      {"", false, -70, 70, 24, every(20, 59, 179), every(10, 49, 189)},
      {"", false, 5, 145, 24, every(20, 54, 174), every(10, 54, 184)},
  };

  for (const auto& [font, integer_steps, lo, hi, label_width, major, minor] : rows) {
    SCOPED_TRACE(testing::Message() << lo << " to " << hi);
    support::CapturedStderr captured;
    open_canvas(font.c_str());
    EXPECT_EQ(captured.take(), font == "none" ? "Font none not found\nUsing default font\n" : "");
    EXPECT_EQ(draw_value_axis(300, 140, 100, 50, integer_steps, lo, hi), label_width);
    EXPECT_EQ(rows_in_column(100 - 11), major);
    EXPECT_EQ(rows_in_column(100 - 6), minor);
  }
  EXPECT_EQ(draw_value_axis(300, 140, 100, 50, false, 0, 5e6), 8 * 5);  // "1e+06"
}

}  // namespace
