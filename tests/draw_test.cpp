// Drawing. What the shapes look like is up to the pictures; here they are clipped, panned, scaled.

#include "graphics/draw.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <set>

#include "graphics/mode.h"

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

  ~draw() override { gr::surface = {}; }

  /// What a shape draws in colour 1.
  static Pixels drawn(const Shape& shape, const Window& window = {0, 0, width - 1, height - 1}) {
    gr::clear_screen(0);
    gr::set_user_window(window.x1, window.y1, window.x2, window.y2);
    shape();
    Pixels pixels;
    const std::vector<std::uint8_t>& screen = gr::surface.screen.pixels;
    for (std::size_t i = 0; i < screen.size(); ++i) {
      if (screen[i] == 1) {
        const auto number = static_cast<int>(i);
        pixels.insert({number % gr::GrSizeX(), number / gr::GrSizeX()});
      }
    }
    return pixels;
  }
};

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
  const gr::Context small = gr::surface.screen;
  const gr::Context large(450, 450);
  std::mt19937 random(20160301);
  std::uniform_int_distribution<int> place(-70, 110);
  for (int round = 0; round < 1000; ++round) {
    const int left = round % 2 * place(random), top = round % 2 * place(random);
    const int x1 = place(random), y1 = place(random), r = place(random) / (1 + round % 13);
    const int x2 = round % 7 == 0 ? x1 : place(random);
    const int y2 = round % 11 == 0 ? y1 : place(random);
    const gr::LineOption dashed = {1, 1, patterns[round % 3]};
    const Shape shapes[] = {[&] { gr::plot_pixel(x1, y1, 1); },
                            [&] { gr::line(x1, y1, x2, y2, 1); },
                            [&] { gr::custom_line(x1, y1, x2, y2, dashed); },
                            [&] { gr::box(x1, y1, x2, y2, 1); },
                            [&] { gr::filled_box(x1, y1, x2, y2, 1); },
                            [&] { gr::circle(x1, y1, r, 1); }};
    const Shape reverse = [&] { gr::line(x2, y2, x1, y1, 1); };
    ASSERT_EQ(drawn(reverse), drawn(shapes[1])) << "round " << round;
    for (const Shape& shape : shapes) {
      gr::surface.screen = large;
      const Pixels whole = drawn(shape, {-200, -200, 249, 249});
      gr::surface.screen = small;
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

TEST_F(draw, circles_are_nearest_to_the_true_ones) {
  for (int radius = 1; radius < 40; ++radius) {
    Pixels expected;
    for (int i = 0; i < width * height; ++i) {
      const int x = i % width - 20, y = i / width - 15;
      const int error = x * x + y * y - radius * radius, bound = std::max(std::abs(x), std::abs(y));
      if (error >= -bound && error < bound) {
        expected.insert({i % width, i / width});
      }
    }
    EXPECT_EQ(drawn([radius] { gr::circle(20, 15, radius, 1); }), expected) << radius;
  }
}

TEST_F(draw, extreme_shapes_and_scaled_ones_are_the_same_as_plain_ones) {
  const std::vector<std::uint8_t> three_two = {3, 2}, none = {0, 0};
  const gr::LineOption dashed = {1, 1, three_two}, solid = {1, 1, none};
  const Window pan = {0, 0, 40, 30}, half = {1000, -60, 1080, 0};

  const struct {
    Window window;
    Shape shape, plain;
  } rows[] = {
      {pan, [&] { gr::custom_line(0, 3, 40, 3, solid); }, [] { gr::line(0, 3, 40, 3, 1); }},
      {pan, [&] { gr::custom_line(-2000000000, 3, most, 3, dashed); },
       [&] { gr::custom_line(0, 3, 40, 3, dashed); }},
      {pan, [] { gr::line(least, least, most, most, 1); }, [] { gr::line(0, 0, 30, 30, 1); }},
      {pan, [] { gr::filled_box(most, most, least, least, 1); }, [] { gr::clear_screen(1); }},
      {pan, [] { gr::box(most, 5, least, most, 1); }, [] { gr::line(0, 5, 40, 5, 1); }},
      {pan, [] { gr::circle(20, most, most, 1); }, [] { gr::line(0, 0, 40, 0, 1); }},
      {pan, [] { gr::circle(most, 20, most - 5, 1); }, [] { gr::line(5, 0, 5, 30, 1); }},
      {pan, [] { gr::circle(7, 9, 0, 1); }, [] { gr::plot_pixel(7, 9, 1); }},
      {half, [] { gr::circle(1040, -30, 10, 1); }, [] { gr::circle(20, 15, 5, 1); }},
      {{0, 0, 3, 3}, [] { gr::line(-1000000000, 1, 2, 1, 1); }, [] { gr::line(0, 10, 27, 10, 1); }},
      {{least, 0, most, 1},
       [] { gr::line(least, 0, most, 1, 1); },
       [] { gr::line(0, 0, 40, 30, 1); }},
      {{9, 9, 9, 40}, [] { gr::plot_pixel(5, 5, 1); }, [] { gr::plot_pixel(5, 5, 1); }},
  };

  for (const auto& row : rows) {
    EXPECT_EQ(drawn(row.shape, row.window), drawn(row.plain)) << "row " << &row - rows;
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
  std::vector<std::uint8_t>& screen = gr::surface.screen.pixels;
  std::generate(screen.begin(), screen.end(), [&random] { return 1 + random() % 255; });
  gr::set_user_window(500, 500, 600, 600);
  std::uniform_int_distribution<int> place(-50, 90);
  for (int round = 0; round < 2000; ++round) {
    gr::Context target(35, 45), expected(35, 45);
    const int far = round % 5 == 0 ? 2000000000 : 0;
    const int x = place(random), y = place(random), x1 = place(random) - far, y1 = place(random);
    const int x2 = place(random) + far, y2 = place(random);
    for (std::int64_t row = std::max(y1, 0); row <= std::min(y2, height - 1); ++row) {
      for (std::int64_t column = std::max(x1, 0); column <= std::min(x2, width - 1); ++column) {
        const std::int64_t to_x = column - x1 + x, to_y = row - y1 + y;
        if (to_x >= 0 && to_x < 35 && to_y >= 0 && to_y < 45) {
          expected.pixels.at(to_y * 35 + to_x) = screen.at(row * width + column);
        }
      }
    }
    gr::bit_blit(target, x, y, x1, y1, x2, y2);
    ASSERT_EQ(target.pixels, expected.pixels) << round;
  }
}

TEST_F(draw, nothing_happens_on_surfaces_without_pixels) {
  for (const int columns : {0, -5, 1 << 16}) {
    gr::surface.screen = gr::Context(columns, 1 << 15);
    EXPECT_EQ(gr::surface.screen.width, 0);
    gr::set_user_window(0, 0, 10, 10);
    gr::line(0, 0, 10, 10, 1);
    gr::box(0, 0, 10, 10, 1);
    gr::circle(5, 5, 5, 1);
    gr::Context target(3, 3);
    gr::bit_blit(target, 0, 0, 0, 0, 9, 9);
    EXPECT_EQ(target.pixels, std::vector<std::uint8_t>(9));
  }
}

TEST_F(draw, equal_colors_share_an_index_and_a_full_palette_gives_the_nearest) {
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(gr::allocate_color(i, 0, 255 - i), static_cast<gr::Color>(i));
    EXPECT_EQ(gr::allocate_color(0, -1, 300), 0U);
  }
  EXPECT_EQ(gr::allocate_color(100, 9, 155), 100U);
  gr::surface.palette = {.limit = 2};
  gr::allocate_color(0, 0, 0);
  gr::allocate_color(255, 255, 255);
  EXPECT_EQ(gr::allocate_color(200, 100, 255), 1U);
  EXPECT_EQ(gr::surface.palette.used, 2U);
}
