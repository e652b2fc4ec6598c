// Drawing, and the modes that give something to draw on. What the shapes look like is up to the
// pictures; here they are clipped, panned, scaled.

#include "graphics/draw.h"

#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>

#include "graphics/mode.h"
#include "tests/support/captured_stderr.h"

namespace {

using Pixels = std::set<std::pair<int, int>>;
using Shape = std::function<void()>;
using Window = gr::UserWindow;

constexpr int width = 41;
constexpr int height = 31;
constexpr int least = std::numeric_limits<int>::min();
constexpr int most = std::numeric_limits<int>::max();

class draw : public testing::Test {
 protected:
  draw() {
    gr::set_driver("memory gw 1 gh 1 nc 256");
    gr::GrSetMode(gr::ModeKind::width_height_color_graphics, width, height);
  }

  ~draw() override { gr::graphics = {}; }

  /// What a shape draws in colour 1.
  static Pixels drawn(const Shape& shape, const Window& window = {0, 0, width - 1, height - 1}) {
    gr::clear_screen(0);
    gr::set_user_window(window.x1, window.y1, window.x2, window.y2);
    shape();
    Pixels pixels;
    for (int i = 0; i < gr::GrSizeX() * gr::GrSizeY(); ++i) {
      if (gr::graphics.canvas.pixels[i] == 1) {
        pixels.insert({i % gr::GrSizeX(), i / gr::GrSizeX()});
      }
    }
    return pixels;
  }
};

class mode : public draw {};

/// The pixels from a place on that the surface has room for.
Pixels cut(const Pixels& pixels, int left, int top) {
  Pixels visible;
  for (const auto& [x, y] : pixels) {
    if (x >= left && x < left + width && y >= top && y < top + height) {
      visible.insert({x - left, y - top});
    }
  }
  return visible;
}

}  // namespace

TEST_F(draw, clipped_and_panned_shapes_have_the_pixels_of_the_whole_ones) {
  const std::vector<std::uint8_t> patterns[] = {{1}, {3, 2}, {2, 1, 4}};
  const gr::Canvas small = gr::graphics.canvas;
  const gr::Canvas large(450, 450);
  std::mt19937 random(20160301);
  std::uniform_int_distribution<int> place(-70, 110);
  for (int round = 0; round < 500; ++round) {
    const int left = round % 2 * place(random), top = round % 2 * place(random);
    const int x1 = place(random), y1 = place(random), r = place(random) / (1 + round % 13);
    const int x2 = round % 7 == 0 ? x1 : place(random);
    const int y2 = round % 11 == 0 ? y1 : place(random);
    const gr::LineOption dashed = {1, 1, patterns[round % 3]};
    const Shape shapes[] = {[&] { gr::custom_line(x1, y1, x2, y2, dashed); },
                            [&] { gr::box(x1, y1, x2, y2, 1); }, [&] { gr::circle(x1, y1, r, 1); }};
    for (const Shape& shape : shapes) {
      gr::graphics.canvas = large;
      const Pixels whole = drawn(shape, {-200, -200, 249, 249});
      gr::graphics.canvas = small;
      ASSERT_EQ(drawn(shape, {left, top, left + width - 1, top + height - 1}),
                cut(whole, left + 200, top + 200))
          << "round " << round << ", shape " << &shape - shapes;
    }
  }
}

TEST_F(draw, lines_between_any_coordinates_are_nearest_to_the_true_line) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> far(-2147483000, 2147483000);
  std::uniform_int_distribution<int> near(-40, 80);
  for (int round = 0; round < 1000; ++round) {
    const int x1 = far(random), x2 = -x1 + near(random);
    const int y1 = static_cast<int>(x1 / 2e9 * far(random) / 2), y2 = -y1 + near(random);
    const double slope = (y2 - static_cast<double>(y1)) / (x2 - static_cast<double>(x1));
    Pixels flat, steep;
    for (int x = 0; x < width; ++x) {
      const double y = (y1 + y2) / 2.0 + (x - (x1 + x2) / 2.0) * slope;
      flat.insert({x, static_cast<int>(std::ceil(y - 0.5))});
      steep.insert({static_cast<int>(std::ceil(y - 0.5)), x});
    }
    ASSERT_EQ(drawn([&] { gr::line(x1, y1, x2, y2, 1); }), cut(flat, 0, 0)) << round;
    ASSERT_EQ(drawn([&] { gr::line(y2, x2, y1, x1, 1); }), cut(steep, 0, 0)) << round;
  }
}

TEST_F(draw, extreme_shapes_and_scaled_ones_are_the_same_as_plain_ones) {
  const std::vector<std::uint8_t> three_two = {3, 2}, none = {0, 0};
  const gr::LineOption dashed = {1, 1, three_two}, solid = {1, 1, none};
  const Window pan = {0, 0, 40, 30}, half = {1000, -60, 1080, 0};

  const std::tuple<Window, Shape, Shape> rows[] = {
      {pan, [&] { gr::custom_line(0, 3, 40, 3, solid); }, [] { gr::line(0, 3, 40, 3, 1); }},
      {pan, [&] { gr::custom_line(-2000000000, 3, most, 3, dashed); },
       [&] { gr::custom_line(0, 3, 40, 3, dashed); }},
      {pan, [] { gr::box(most, 5, least, most, 1); }, [] { gr::line(0, 5, 40, 5, 1); }},
      {pan, [] { gr::circle(most, 20, most - 5, 1); }, [] { gr::line(5, 0, 5, 30, 1); }},
      {pan, [] { gr::circle(7, 9, 0, 1); }, [] { gr::plot_pixel(7, 9, 1); }},
      {half, [] { gr::circle(1040, -30, 10, 1); }, [] { gr::circle(20, 15, 5, 1); }},
      {{0, 0, 3, 3}, [] { gr::line(-1000000000, 1, 2, 1, 1); }, [] { gr::line(0, 10, 27, 10, 1); }},
      {{least, 0, most, 1},
       [] { gr::line(least, 0, most, 1, 1); },
       [] { gr::line(0, 0, 40, 30, 1); }},
      {{9, 9, 9, 40}, [] { gr::plot_pixel(5, 5, 1); }, [] { gr::plot_pixel(5, 5, 1); }},
  };

  for (const auto& [window, shape, plain] : rows) {
    EXPECT_EQ(drawn(shape, window), drawn(plain)) << "in " << window.x1 << ", " << window.y1;
  }
}

TEST_F(draw, any_number_becomes_a_coordinate) {
  EXPECT_EQ(gr::to_coordinate(2.9), 2);
  EXPECT_EQ(gr::to_coordinate(-2.9), -2);
  EXPECT_EQ(gr::to_coordinate(1e9 + 5), 1000000000);
  EXPECT_EQ(gr::to_coordinate(-1e300), -1000000000);
  EXPECT_EQ(gr::to_coordinate(std::nan("")), -1000000000);
}

TEST_F(draw, a_blit_copies_what_is_there_and_fits) {
  std::mt19937 random(7);
  std::vector<std::uint8_t>& screen = gr::graphics.canvas.pixels;
  for (std::uint8_t& pixel : screen) {
    pixel = 1 + random() % 255;
  }
  gr::set_user_window(500, 500, 600, 600);
  std::uniform_int_distribution<int> place(-50, 90);
  for (int round = 0; round < 1000; ++round) {
    const std::int64_t far = round % 5 == 0 ? 2000000000 : 0;
    const std::int64_t x = place(random), y = place(random), x1 = place(random) - far;
    const std::int64_t y1 = place(random), x2 = place(random) + far, y2 = place(random);
    gr::Canvas target(35, 45);
    gr::bit_blit(target, x, y, x1, y1, x2, y2);
    for (int i = 0; i < 35 * 45; ++i) {
      const std::int64_t column = x1 + i % 35 - x, row = y1 + i / 35 - y;
      const bool is_there = column >= 0 && column < width && row >= 0 && row < height;
      const bool copied = column >= x1 && column <= x2 && row >= y1 && row <= y2;
      ASSERT_EQ(target.pixels[i], is_there && copied ? screen.at(row * width + column) : 0);
    }
  }
}

TEST_F(draw, nothing_happens_on_surfaces_without_pixels) {
  for (const int columns : {-5, 0, 1 << 16}) {
    gr::graphics.canvas = gr::Canvas(columns, 1 << 15);
    EXPECT_EQ(gr::graphics.canvas.width, 0);
    gr::line(0, 0, 10, 10, 1);
    gr::circle(5, 5, 5, 1);
    gr::Canvas target(3, 3);
    gr::bit_blit(target, 0, 0, 0, 0, 9, 9);
  }
}

TEST_F(draw, equal_colors_share_an_index_and_a_full_palette_gives_the_nearest) {
  gr::graphics.palette.limit = 2;
  EXPECT_EQ(gr::allocate_color(0, -1, 0), 0U);
  EXPECT_EQ(gr::allocate_color(255, 300, 255), 1U);
  EXPECT_EQ(gr::allocate_color(0, 0, 0), 0U);
  EXPECT_EQ(gr::allocate_color(200, 100, 255), 1U);
  EXPECT_EQ(gr::graphics.palette.colors[1], (gr::Rgb{255, 255, 255}));
  EXPECT_EQ(gr::graphics.palette.used, 2U);
}

TEST_F(mode, a_driver_text_names_each_number_once_in_any_order) {
  for (const char* text : {"memory gw 8 gh 6 nc 256", "  memory  nc 16 gh 6\tgw 8 "}) {
    EXPECT_TRUE(gr::set_driver(text));
    EXPECT_TRUE(gr::GrSetMode(gr::ModeKind::default_graphics, 5, 5, 5));
    EXPECT_EQ(gr::GrSizeX(), 8);
    EXPECT_EQ(gr::max_y(), 5);
  }
  gr::graphics.driver = "as before";
  for (const std::string text :
       {"", "gw 8 gh 6", "gw 8 gw 9 gh 6 nc 256", "gw 8 gh 6 nc 256 gw", "gw 8 gh 6 nc 256 zz 1",
        "gw8 gh 6 nc 256", "gw +8 gh 6 nc 256", "gw -8 gh -6 nc 256", "gw 0 gh 6 nc 256",
        "gw 32769 gh 32768 nc 256", "gw 99999999999 gh 1 nc 256", "gw 8 gh 6 nc 16M"}) {
    EXPECT_FALSE(gr::set_driver("memory " + text)) << text;
  }
  EXPECT_FALSE(gr::set_driver("Memory gw 8 gh 6 nc 256"));
  EXPECT_FALSE(gr::set_driver("gw 8 gh 6 nc 256"));
  EXPECT_EQ(gr::graphics.driver, "as before");
}

TEST_F(mode, a_mode_that_cannot_be_set_says_why_and_changes_nothing) {
  constexpr auto given = gr::ModeKind::width_height_color_graphics;

  const std::tuple<const char*, gr::ModeKind, int, int, std::string> rows[] = {
      {"memory gw 8 gh 6 nc 256", static_cast<gr::ModeKind>(99), 8, 256, "unknown video mode"},
      {"memory gw 8 gh 6 nc 256", given, 0, 256, "could not find suitable video mode"},
      {"memory gw 8 gh 6 nc 256", given, 1 << 20, 256, "could not find suitable video mode"},
      {"memory gw 8 gh 6 nc 256", given, 8, 257, "could not set color mode"},
      {"memory gw 8 gh 6 nc 0", gr::ModeKind::default_graphics, 0, 256, "could not set color mode"},
      {"", given, 800, 256, "could not find suitable video driver"},
  };

  for (const auto& [driver, kind, columns, colors, reason] : rows) {
    ASSERT_TRUE(gr::set_driver(driver));
    support::CapturedStderr error;
    EXPECT_FALSE(gr::GrSetMode(kind, columns, 1 << 20, colors));
    EXPECT_EQ(error.take(), "GrSetMode: " + reason + "\n");
    EXPECT_FALSE(gr::graphics.open);
    EXPECT_EQ(gr::max_x(), -1);
  }
}

TEST_F(mode, a_new_mode_begins_cleared_and_without_colors) {
  gr::set_driver("memory gw 1 gh 1 nc 256");
  for (const int columns : {4, 8}) {
    EXPECT_TRUE(gr::GrSetMode(gr::ModeKind::width_height_color_graphics, columns, 6));
    EXPECT_EQ(gr::graphics.canvas.pixels, std::vector<std::uint8_t>(std::size_t(columns) * 6));
    EXPECT_EQ(gr::graphics.canvas.window, (gr::UserWindow{0, 0, columns - 1, 5}));
    EXPECT_EQ(gr::graphics.palette.used, 0U);
    EXPECT_EQ(gr::video_driver_name(), "memory");
    gr::allocate_color(1, 2, 3);
    gr::clear_screen(7);
    gr::set_user_window(5, 5, 6, 6);
  }
  gr::set_text_mode();
  EXPECT_EQ(gr::GrSizeX(), 0);
  EXPECT_EQ(gr::max_y(), -1);
  EXPECT_EQ(gr::video_driver_name(), "");
}
