// Drawing, compared with slow references that know nothing of clipping.

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

constexpr int width = 40;
constexpr int height = 30;

class draw : public testing::Test {
 protected:
  draw() { open(width, height); }

  ~draw() override { gr::surface = {}; }

  static void open(int columns, int rows) {
    gr::set_driver("memory gw 1 gh 1 nc 256");
    gr::GrSetMode(gr::ModeKind::width_height_color_graphics, columns, rows);
  }

  /// What has been drawn in colour 1.
  static Pixels drawn() {
    Pixels pixels;
    for (int i = 0; i < gr::GrSizeX() * gr::GrSizeY(); ++i) {
      if (gr::surface.screen.pixels[static_cast<std::size_t>(i)] == 1) {
        pixels.insert({i % gr::GrSizeX(), i / gr::GrSizeX()});
      }
    }
    return pixels;
  }
};

/// The pixels on the surface, after a pan.
Pixels cut(const Pixels& pixels, int left, int top) {
  Pixels visible;
  for (const auto& [x, y] : pixels) {
    if (x >= left && x < left + width && y >= top && y < top + height) {
      visible.insert({x - left, y - top});
    }
  }
  return visible;
}

Pixels slow_line(int x1, int y1, int x2, int y2, const std::vector<std::uint8_t>& dashes = {}) {
  std::vector<bool> strokes(dashes.empty() ? 1 : 0, true);
  for (std::size_t i = 0; i < 2 * dashes.size(); ++i) {
    strokes.insert(strokes.end(), dashes[i % dashes.size()], i % 2 == 0);
  }
  Pixels pixels;
  const int n = std::max({std::abs(x2 - x1), std::abs(y2 - y1), 1});
  for (int k = 0; k <= n; ++k) {
    const double x = x1 + (x2 - x1) * k / static_cast<double>(n);
    const double y = y1 + (y2 - y1) * k / static_cast<double>(n);
    if (strokes[static_cast<std::size_t>(k) % strokes.size()]) {
      pixels.insert({static_cast<int>(std::ceil(x - 0.5)), static_cast<int>(std::ceil(y - 0.5))});
    }
  }
  return pixels;
}

Pixels slow_box(int x1, int y1, int x2, int y2, bool filled) {
  Pixels pixels;
  for (int x = std::min(x1, x2); x <= std::max(x1, x2); ++x) {
    for (int y = std::min(y1, y2); y <= std::max(y1, y2); ++y) {
      if (filled || x == x1 || x == x2 || y == y1 || y == y2) {
        pixels.insert({x, y});
      }
    }
  }
  return pixels;
}

/// The midpoint rule for an eighth of a circle, mirrored.
Pixels slow_circle(int x0, int y0, int radius) {
  Pixels pixels;
  int decision = 1 - radius;
  for (int x = 0, y = radius; x <= y; ++x) {
    for (const auto& [a, b] : {std::pair{x, y}, std::pair{y, x}}) {
      pixels.insert({{x0 + a, y0 + b}, {x0 - a, y0 + b}, {x0 + a, y0 - b}, {x0 - a, y0 - b}});
    }
    if (decision < 0) {
      decision += 2 * x + 3;
    } else {
      decision += 2 * (x - y) + 5;
      --y;
    }
  }
  return pixels;
}

}  // namespace

TEST_F(draw, clipped_and_panned_shapes_have_the_pixels_of_the_whole_ones) {
  const std::vector<std::vector<std::uint8_t>> patterns = {{1}, {3, 2}, {2, 1, 4}, {0, 0}, {}};
  std::mt19937 random(20160301);
  std::uniform_int_distribution<int> place(-70, 110);
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE(round);
    const int left = round % 2 * place(random);
    const int top = round % 2 * place(random);
    const int x1 = place(random), y1 = place(random), radius = place(random) / (1 + round % 13);
    const int x2 = round % 7 == 0 ? x1 : place(random);
    const int y2 = round % 11 == 0 ? y1 : place(random);
    const auto& dashes = patterns[static_cast<std::size_t>(round) % patterns.size()];
    const auto& walked = dashes == patterns[3] ? patterns[4] : dashes;
    const std::pair<std::function<void()>, Pixels> shapes[] = {
        {[&] { gr::plot_pixel(x1, y1, 1); }, {{x1, y1}}},
        {[&] { gr::line(x1, y1, x2, y2, 1); }, slow_line(x1, y1, x2, y2)},
        {[&] { gr::line(x1, y1, x2, y2, 1); }, slow_line(x2, y2, x1, y1)},
        {[&] {
           gr::custom_line(x1, y1, x2, y2, {1, 1, dashes});
         },
         slow_line(x1, y1, x2, y2, walked)},
        {[&] { gr::box(x1, y1, x2, y2, 1); }, slow_box(x1, y1, x2, y2, false)},
        {[&] { gr::filled_box(x1, y1, x2, y2, 1); }, slow_box(x1, y1, x2, y2, true)},
        {[&] { gr::circle(x1, y1, radius, 1); },
         radius < 0 ? Pixels() : slow_circle(x1, y1, radius)}};
    for (const auto& [draw_shape, whole] : shapes) {
      gr::clear_screen(0);
      gr::set_user_window(left, top, left + width - 1, top + height - 1);
      draw_shape();
      ASSERT_EQ(drawn(), cut(whole, left, top)) << "shape " << &whole - &shapes[0].second;
    }
  }
}

TEST_F(draw, lines_between_any_coordinates_are_nearest_to_the_true_line) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> far(-2147483000, 2147483000);
  std::uniform_int_distribution<int> near(-40, 80);
  for (int round = 0; round < 1000; ++round) {
    const int x1 = far(random), x2 = -x1 + near(random);
    const int y1 = static_cast<int>(x1 / 2000000000.0 * far(random) / 2), y2 = -y1 + near(random);
    const bool steep = round % 2 == 1;
    gr::clear_screen(0);
    steep ? gr::line(y1, x1, y2, x2, 1) : gr::line(x1, y1, x2, y2, 1);
    const Pixels pixels = drawn();
    for (int i = 0; i < width * height; ++i) {
      const std::pair<int, int> pixel = {i % width, i / width};
      const auto [x, y] = steep ? std::pair{pixel.second, pixel.first} : pixel;
      const long double slope =
          (static_cast<long double>(y2) - y1) / (static_cast<long double>(x2) - x1);
      const long double away = std::abs(y1 + (static_cast<long double>(x) - x1) * slope - y);
      if (std::abs(away - 0.5L) > 1e-6L) {
        ASSERT_EQ(pixels.count(pixel), away < 0.5L) << x1 << ' ' << y1 << ' ' << x2 << ' ' << y2;
      }
    }
  }
}

TEST_F(draw, a_dash_pattern_counts_from_the_first_point_however_far) {
  const std::uint8_t dots[] = {1};
  gr::custom_line(-2000000001, 3, 2000000000, 3, {1, 1, dots});
  gr::custom_line(2000000000, 4, -2000000000, 4, {1, 1, dots});
  const std::uint8_t strokes[] = {3, 2};
  gr::custom_line(7, -2000000001, 7, 2000000000, {1, 1, strokes});
  const Pixels pixels = drawn();
  for (int x = 8; x < width; ++x) {
    EXPECT_EQ(pixels.count({x, 3}), static_cast<std::size_t>(x % 2)) << x;
    EXPECT_EQ(pixels.count({x, 4}), static_cast<std::size_t>(1 - x % 2)) << x;
  }
  for (int y = 5; y < height; ++y) {
    EXPECT_EQ(pixels.count({7, y}), (y + 1) % 5 < 3 ? 1U : 0U) << y;
  }
}

TEST_F(draw, extreme_shapes_cover_what_can_be_seen_of_them) {
  constexpr int least = std::numeric_limits<int>::min();
  constexpr int most = std::numeric_limits<int>::max();
  const std::pair<std::function<void()>, Pixels> shapes[] = {
      {[] { gr::line(least, least, most, most, 1); }, slow_line(0, 0, 29, 29)},
      {[] { gr::filled_box(most, least, least, most, 1); }, slow_box(0, 0, 39, 29, true)},
      {[] { gr::box(most, 5, least, most, 1); }, slow_line(0, 5, 39, 5)},
      {[] { gr::circle(20, most, most, 1); }, slow_line(0, 0, 39, 0)},
      {[] { gr::circle(most, 20, most - 5, 1); }, slow_line(5, 0, 5, 29)},
      {[] { gr::circle(least, least, most, 1); }, {}}};
  for (const auto& [draw_shape, expected] : shapes) {
    for (int i = 0; i < 100; ++i) {
      gr::clear_screen(0);
      draw_shape();
    }
    EXPECT_EQ(drawn(), expected) << "shape " << &expected - &shapes[0].second;
  }
}

TEST_F(draw, a_window_of_another_size_scales) {
  open(41, 31);
  gr::set_user_window(1000, -60, 1080, 0);
  gr::box(1000, 0, 1080, -60, 1);
  gr::plot_pixel(1040, -30, 1);
  gr::circle(1040, -30, 10, 1);
  Pixels expected = slow_box(0, 0, 40, 30, false);
  expected.insert({20, 15});
  expected.merge(slow_circle(20, 15, 5));
  EXPECT_EQ(drawn(), expected);

  gr::clear_screen(0);
  gr::set_user_window(0, 0, 10, 10);
  gr::line(0, 10, 10, 0, 1);
  gr::line(-1000000000, 5, 1000000000, 5, 1);
  expected = slow_line(0, 30, 40, 0);
  expected.merge(slow_line(0, 15, 40, 15));
  EXPECT_EQ(drawn(), expected);

  gr::clear_screen(0);
  gr::set_user_window(0, 0, 3, 3);
  gr::plot_pixel(2, 2, 1);
  gr::line(-1, 1, 1, 1, 1);
  gr::line(-1, 0, 3, 3, 1);
  expected = cut(slow_line(-13, 0, 40, 30), 0, 0);
  expected.merge(slow_line(0, 10, 13, 10));
  expected.insert({{27, 20}, {40, 30}});
  EXPECT_EQ(drawn(), expected);

  gr::set_user_window(std::numeric_limits<int>::min(), 0, std::numeric_limits<int>::max(), 1);
  gr::clear_screen(0);
  gr::line(std::numeric_limits<int>::min(), 0, std::numeric_limits<int>::max(), 1, 1);
  EXPECT_EQ(drawn(), slow_line(0, 0, 40, 30));

  for (const auto& [x2, y2] : {std::pair{9, 40}, std::pair{40, 9}, std::pair{-5, -5}}) {
    gr::set_user_window(9, 9, x2, y2);  // without an extent
    EXPECT_EQ(gr::surface.screen.window, (gr::UserWindow{0, 0, 40, 30}));
  }
}

TEST_F(draw, any_number_becomes_a_coordinate) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr int farthest = gr::farthest_coordinate;
  const std::pair<double, int> rows[] = {{2.9, 2},
                                         {-2.9, -2},
                                         {1e9 - 1.5, 999999998},
                                         {1e300, farthest},
                                         {infinity, farthest},
                                         {-1e300, -farthest},
                                         {-infinity, -farthest},
                                         {std::nan(""), -farthest}};
  for (const auto& [number, coordinate] : rows) {
    EXPECT_EQ(gr::to_coordinate(number), coordinate) << number;
  }
}

TEST_F(draw, a_blit_copies_what_is_there_and_fits) {
  std::mt19937 random(7);
  for (std::uint8_t& pixel : gr::surface.screen.pixels) {
    pixel = static_cast<std::uint8_t>(1 + random() % 255);
  }
  gr::set_user_window(500, 500, 600, 600);
  std::uniform_int_distribution<int> place(-50, 90);
  for (int round = 0; round < 2000; ++round) {
    gr::Context target(35, 45);
    const int far = round % 5 == 0 ? 2000000000 : 0;
    const int x = place(random), y = place(random), x1 = place(random) - far, y1 = place(random);
    const int x2 = place(random) + far, y2 = place(random);
    gr::bit_blit(target, x, y, x1, y1, x2, y2);
    for (int i = 0; i < 35 * 45; ++i) {
      const std::int64_t column = std::int64_t{i % 35} - x + x1;
      const std::int64_t row = i / 35 - y + y1;
      const bool copied = column >= std::max(x1, 0) && column <= std::min(x2, width - 1) &&
                          row >= std::max(y1, 0) && row <= std::min(y2, height - 1);
      const auto source = static_cast<std::size_t>(copied ? row * width + column : 0);
      ASSERT_EQ(target.pixels[static_cast<std::size_t>(i)],
                copied ? gr::surface.screen.pixels[source] : 0);
    }
  }
}

TEST_F(draw, nothing_happens_on_surfaces_without_pixels) {
  for (const auto& [columns, rows] :
       {std::pair{0, 5}, std::pair{-5, -5}, std::pair{1 << 16, 1 << 15}}) {
    gr::Context& screen = gr::surface.screen = gr::Context(columns, rows);
    EXPECT_EQ(screen.width, 0);
    gr::set_user_window(0, 0, 10, 10);
    gr::line(0, 0, 10, 10, 1);
    gr::box(0, 0, 10, 10, 1);
    gr::circle(5, 5, 5, 1);
    gr::plot_pixel(0, 0, 1);
    gr::clear_screen(1);
    gr::Context target(3, 3);
    gr::bit_blit(target, 0, 0, 0, 0, 9, 9);
    EXPECT_EQ(target.pixels, std::vector<std::uint8_t>(9));
    EXPECT_TRUE(screen.pixels.empty());
  }
}

TEST_F(draw, equal_colors_share_an_index_and_a_full_palette_gives_the_nearest) {
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(gr::allocate_color(i, 0, 255 - i), static_cast<gr::Color>(i));
    EXPECT_EQ(gr::allocate_color(0, -1, 300), 0U);
  }
  EXPECT_EQ(gr::allocate_color(100, 9, 155), 100U);
  EXPECT_EQ(gr::surface.palette.used, 256U);

  gr::GrSetMode(gr::ModeKind::width_height_color_graphics, 9, 9, 2);
  gr::allocate_color(0, 0, 0);
  gr::allocate_color(255, 255, 255);
  EXPECT_EQ(gr::allocate_color(200, 100, 255), 1U);
  EXPECT_EQ(gr::surface.palette.used, 2U);
}
