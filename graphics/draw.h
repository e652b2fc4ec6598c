#pragma once
// Lines, boxes, circles and pixels, in the user coordinates of the current surface. Clipped to it;
// any coordinates may be given, and what is out of sight costs nothing.

#include <cstdint>
#include <span>

#include "graphics/canvas.h"

namespace gr {

/// How a custom line is drawn.
struct LineOption {
  Color color = 0;
  int width = 1;                         ///< only 1 is drawn
  std::span<const std::uint8_t> dashes;  ///< lengths of strokes and gaps in turn, in pixels
};

/// One pixel.
void plot_pixel(int x, int y, Color color);

/// A line of one pixel, both ends included, by the integer midpoint rule: at every step along its
/// longer side the nearest pixel, and of two that are equally near the upper or left one. So a line
/// and its reverse are the same pixels.
void line(int x1, int y1, int x2, int y2, Color color);

/// A patterned line. The pattern counts from x1, y1, also where that is not in sight. An odd number
/// of lengths is gone through twice, strokes then being gaps, so that one length serves for both;
/// without any length above 0 the line is solid.
void custom_line(int x1, int y1, int x2, int y2, const LineOption& option);

/// The outline of a rectangle; corners in any order.
void box(int x1, int y1, int x2, int y2, Color color);

/// A rectangle with all its pixels.
void filled_box(int x1, int y1, int x2, int y2, Color color);

/// The outline of a circle; radius 0 is one pixel, a negative one nothing. Under a scale it stays a
/// circle, its radius scaled like a width.
void circle(int x, int y, int radius, Color color);

}  // namespace gr
