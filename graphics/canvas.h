#pragma once
// Surfaces of palette indices, and the one that all drawing goes to. Everything that is drawn, on
// the screen, in memory or for a picture, is drawn here.

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

/// The coordinates that fill a surface, both corners included.
struct UserWindow {
  int x1 = 0;
  int y1 = 0;
  int x2 = 0;
  int y2 = 0;

  bool operator==(const UserWindow&) const = default;
};

/// The most pixels that a surface has.
inline constexpr std::int64_t largest_surface = 1 << 30;

/// A surface. Row 0 is at the top. A new one is filled with index 0; it is empty, 0 by 0, if the
/// size is not positive, has more than largest_surface pixels or does not fit into memory. Drawing
/// on an empty surface draws nothing.
struct Context {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;  ///< width * height palette indices, row by row
  UserWindow window;                 ///< of all drawing; at first the surface itself

  Context() = default;
  Context(int columns, int rows);
};

/// Colours by index; `used` of them are allocated.
struct Palette {
  std::array<Rgb, 256> colors{};
  std::size_t used = 0;
  std::size_t limit = 256;  ///< how many can be allocated, 1..256
};

/// The index of a colour, allocated if it is new; the nearest one once all are taken. Parts of the
/// colour outside 0..255 count as the end they are beyond.
Color allocate_color(int red, int green, int blue);

/// What to_coordinate returns at most; the sum of two still is an int.
inline constexpr int farthest_coordinate = 1000000000;

/// A coordinate for drawing from any number: cut toward zero, at most farthest_coordinate to either
/// side; a NaN gives -farthest_coordinate, far outside like every infinity.
int to_coordinate(double value);

/// Fills the current surface, whatever the user window.
void clear_screen(Color color);

/// Maps the coordinates of all later drawing so that x1, y1 is the first pixel of the current
/// surface and x2, y2 the last one. A window of the surface's size is a pan, one of another size a
/// scale too; one without a width or height (x2 <= x1 or y2 <= y1, unless it has the surface's
/// size) counts as the surface itself.
void set_user_window(int x1, int y1, int x2, int y2);

/// Copies an area of the screen, corners x1, y1 (top left) and x2, y2 included and in pixels, to a
/// context at x, y. What is not there or does not fit is left out.
void bit_blit(Context& target, int x, int y, int x1, int y1, int x2, int y2);

}  // namespace gr
