// Canvases and palettes.

#include "graphics/canvas.h"

#include <algorithm>
#include <limits>
#include <new>

namespace gr {

namespace {

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

Canvas::Canvas(int columns, int rows) {
  const std::int64_t count = std::int64_t{columns} * rows;
  if (columns <= 0 || rows <= 0 || count > largest_canvas) {
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

Color allocate_color(Palette& palette, int red, int green, int blue) {
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

}  // namespace gr
