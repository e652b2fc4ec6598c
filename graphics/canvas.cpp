// Surfaces, colours, and the way from user coordinates to pixels.

#include "graphics/canvas.h"

#include <limits>
#include <new>
#include <utility>

#include "graphics/mode.h"
#include "graphics/raster.h"

namespace gr {

namespace {

/// A coordinate's distance from a window's edge, scaled from the window's last coordinate to the
/// surface's, to the nearest pixel. The products stay below 2^63: distance < 2^32, last < 2^30.
std::int64_t scale(std::int64_t distance, std::int64_t window_last, std::int64_t last) {
  std::int64_t windows = distance / window_last;
  std::int64_t rest = distance % window_last;
  if (rest < 0) {
    rest += window_last;
    --windows;
  }
  const auto numerator = static_cast<std::uint64_t>(rest) * static_cast<std::uint64_t>(last);
  const auto denominator = static_cast<std::uint64_t>(window_last);
  const std::uint64_t nearest = (numerator + denominator / 2) / denominator;
  return std::clamp<std::int64_t>(windows * last + static_cast<std::int64_t>(nearest),
                                  std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
}

/// The pixel of a coordinate in a window from `from` to `to` that fills `size` pixels.
std::int64_t map(int coordinate, int from, int to, int size) {
  const std::int64_t distance = std::int64_t{coordinate} - from;
  const std::int64_t window_last = std::int64_t{to} - from;
  if (window_last == size - 1 || window_last <= 0) {
    return distance;
  }
  return scale(distance, window_last, size - 1);
}

/// Whether coordinates from `from` to `to` can fill `size` pixels.
bool can_fill(int from, int to, int size) {
  return to > from || (to == from && size == 1);
}

int squared_distance(const Rgb& a, const Rgb& b) {
  const int red = a.red - b.red;
  const int green = a.green - b.green;
  const int blue = a.blue - b.blue;
  return red * red + green * green + blue * blue;
}

std::uint8_t to_byte(int part) {
  return static_cast<std::uint8_t>(std::clamp(part, 0, 255));
}

}  // namespace

Context::Context(int columns, int rows) {
  const std::int64_t count = std::int64_t{columns} * rows;
  if (columns <= 0 || rows <= 0 || count > largest_surface) {
    return;
  }
  try {
    pixels.resize(static_cast<std::size_t>(count));
  } catch (const std::bad_alloc&) {
    return;
  }
  width = columns;
  height = rows;
  window = {0, 0, width - 1, height - 1};
}

Color allocate_color(int red, int green, int blue) {
  Palette& palette = surface.palette;
  const Rgb wanted = {to_byte(red), to_byte(green), to_byte(blue)};
  std::size_t nearest = 0;
  int least = std::numeric_limits<int>::max();
  for (std::size_t i = 0; i < palette.used; ++i) {
    const int distance = squared_distance(palette.colors[i], wanted);
    if (distance < least) {
      least = distance;
      nearest = i;
    }
  }
  if (least > 0 && palette.used < std::min(palette.limit, palette.colors.size())) {
    nearest = palette.used++;
    palette.colors[nearest] = wanted;
  }
  return static_cast<Color>(nearest);
}

int to_coordinate(double value) {
  constexpr double limit = farthest_coordinate;
  if (!(value > -limit)) {  // NaN too
    return -farthest_coordinate;
  }
  return static_cast<int>(std::min(value, limit));
}

void clear_screen(Color color) {
  std::fill(surface.screen.pixels.begin(), surface.screen.pixels.end(),
            static_cast<std::uint8_t>(color));
}

void set_user_window(int x1, int y1, int x2, int y2) {
  Context& screen = surface.screen;
  if (can_fill(x1, x2, screen.width) && can_fill(y1, y2, screen.height)) {
    screen.window = {x1, y1, x2, y2};
  } else {
    screen.window = {0, 0, screen.width - 1, screen.height - 1};
  }
}

void bit_blit(Context& target, int x, int y, int x1, int y1, int x2, int y2) {
  const Context& screen = surface.screen;
  const Span columns =
      overlap({0, std::int64_t{x2} - x1},
              overlap(steps_inside(x1, 1, screen.width), steps_inside(x, 1, target.width)));
  const Span rows = overlap({0, std::int64_t{y2} - y1}, overlap(steps_inside(y1, 1, screen.height),
                                                                steps_inside(y, 1, target.height)));
  if (columns.last < columns.first) {
    return;
  }
  for (std::int64_t i = rows.first; i <= rows.last; ++i) {
    const auto from = screen.pixels.begin() + (y1 + i) * screen.width + (x1 + columns.first);
    const auto to = target.pixels.begin() + (y + i) * target.width + (x + columns.first);
    std::copy(from, from + (columns.last - columns.first + 1), to);
  }
}

Pixel to_pixel(int x, int y) {
  const Context& screen = surface.screen;
  return {map(x, screen.window.x1, screen.window.x2, screen.width),
          map(y, screen.window.y1, screen.window.y2, screen.height)};
}

std::int64_t to_pixels(int width) {
  const UserWindow& window = surface.screen.window;
  const std::int64_t window_last = std::int64_t{window.x2} - window.x1;
  const std::int64_t last = surface.screen.width - 1;
  return window_last == last || window_last <= 0 ? width : scale(width, window_last, last);
}

void set_pixel(std::int64_t x, std::int64_t y, Color color) {
  Context& screen = surface.screen;
  screen.pixels[static_cast<std::size_t>(y * screen.width + x)] = static_cast<std::uint8_t>(color);
}

void set_pixel_clipped(std::int64_t x, std::int64_t y, Color color) {
  if (x >= 0 && x < surface.screen.width && y >= 0 && y < surface.screen.height) {
    set_pixel(x, y, color);
  }
}

void fill_clipped(const Pixel& corner, const Pixel& opposite, Color color) {
  Context& screen = surface.screen;
  const auto [left, right] = std::minmax(corner.x, opposite.x);
  const auto [top, bottom] = std::minmax(corner.y, opposite.y);
  const Span columns = overlap({left, right}, {0, screen.width - 1});
  const Span rows = overlap({top, bottom}, {0, screen.height - 1});
  if (columns.last < columns.first) {
    return;
  }
  for (std::int64_t y = rows.first; y <= rows.last; ++y) {
    const auto row = screen.pixels.begin() + y * screen.width;
    std::fill(row + columns.first, row + columns.last + 1, static_cast<std::uint8_t>(color));
  }
}

}  // namespace gr
