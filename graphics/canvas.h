#pragma once
// A canvas, which is a raster of palette indices, and the palette that gives them their colours.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace gr {

/// An index of the palette; only its lowest eight bits are drawn.
using Color = std::uint32_t;

/// A colour that is still to be allocated.
inline constexpr Color unallocated = 0x1000000;

struct Rgb {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  bool operator==(const Rgb&) const = default;
};

/// The coordinates that fill a canvas, both corners included.
struct UserWindow {
  int x1 = 0;
  int y1 = 0;
  int x2 = 0;
  int y2 = 0;

  bool operator==(const UserWindow&) const = default;
};

/// The most pixels that a canvas has.
inline constexpr std::int64_t largest_canvas = 1 << 30;

/// A canvas: what the screen shows, the memory canvas, or a picture. Row 0 is at the top. A new one
/// is filled with index 0; it is empty, 0 by 0, if the size is not positive, has more than
/// largest_canvas pixels or does not fit into memory. Drawing on an empty canvas draws nothing.
struct Canvas {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;  ///< width * height palette indices, row by row
  UserWindow window;                 ///< of all drawing; at first the canvas itself

  Canvas() = default;
  Canvas(int columns, int rows);
};

/// Colours by index; `used` of them are allocated.
struct Palette {
  std::array<Rgb, 256> colors{};
  std::size_t used = 0;
  std::size_t limit = 256;  ///< how many can be allocated, 1..256
};

/// The index of a colour in a palette, allocated if it is new; the nearest one once all are taken.
/// Parts of the colour below 0 count as 0, parts above 255 as 255.
Color allocate_color(Palette& palette, int red, int green, int blue);

/// What to_coordinate returns at most; the sum of two still is an int.
inline constexpr int farthest_coordinate = 1000000000;

/// A coordinate for drawing from any number: cut toward zero, at most farthest_coordinate to either
/// side; a NaN gives -farthest_coordinate, far outside like every infinity.
int to_coordinate(double value);

}  // namespace gr
