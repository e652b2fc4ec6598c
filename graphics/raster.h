#pragma once
// Drawing on a canvas: pixels, lines, boxes, circles, copies. All of it is clipped to the canvas;
// any coordinates may be given, and what is out of sight costs nothing.

#include <algorithm>
#include <cstdint>
#include <span>

#include "graphics/canvas.h"

namespace gr {

// -- pixels --------------------------------------------------------------------------------------

/// A pixel, on the canvas or not.
struct Pixel {
  std::int64_t x = 0;
  std::int64_t y = 0;
};

/// Numbers from first to last; empty if last is less.
struct Span {
  std::int64_t first = 0;
  std::int64_t last = -1;
};

inline Span overlap(const Span& a, const Span& b) {
  return {std::max(a.first, b.first), std::min(a.last, b.last)};
}

/// Of the steps that lead from `start` in the direction 1 or -1, and are counted from 0 there,
/// those that are within 0..size-1. Numbers below 0 are steps back: callers keep the overlap with
/// their own steps.
inline Span steps_inside(std::int64_t start, int direction, std::int64_t size) {
  return direction > 0 ? Span{-start, size - 1 - start} : Span{start - (size - 1), start};
}

/// The pixel of user coordinates. Under a scale it is at most 2^31 away from either axis; without
/// one two pixels are as far from each other as their coordinates.
Pixel to_pixel(const Canvas& canvas, int x, int y);

/// Sets a pixel if it is on the canvas.
void set_pixel_clipped(Canvas& canvas, const Pixel& pixel, Color color);

// -- the canvas as a whole -----------------------------------------------------------------------

/// Fills a canvas, whatever its user window.
void clear(Canvas& canvas, Color color);

/// Maps the coordinates of all later drawing so that x1, y1 is the first pixel of the canvas and
/// x2, y2 the last one. A window of the canvas's size is a pan, one of another size a scale too;
/// one without a width or height (x2 <= x1 or y2 <= y1, unless it has the canvas's size) counts as
/// the canvas itself.
void set_user_window(Canvas& canvas, int x1, int y1, int x2, int y2);

/// Copies an area of a canvas, corners x1, y1 (top left) and x2, y2 included, to x, y of another
/// one; all of these are pixels. What is not there or does not fit is left out.
void bit_blit(Canvas& target, int x, int y, const Canvas& source, int x1, int y1, int x2, int y2);

// -- shapes, in the canvas's user coordinates ----------------------------------------------------

/// How a custom line is drawn.
struct LineOption {
  Color color = 0;
  int width = 1;                         ///< only 1 is drawn
  std::span<const std::uint8_t> dashes;  ///< lengths of strokes and gaps in turn, in pixels
};

/// One pixel.
void plot_pixel(Canvas& canvas, int x, int y, Color color);

/// A line of one pixel, both ends included, by the integer midpoint rule: at every step along its
/// longer side the nearest pixel, and of two that are equally near the upper or left one. So a line
/// and its reverse are the same pixels.
void line(Canvas& canvas, int x1, int y1, int x2, int y2, Color color);

/// A patterned line. The pattern counts from x1, y1, also where that is not in sight. After an odd
/// number of lengths strokes and gaps change places, so that one length serves for both; without
/// any length above 0 the line is solid.
void custom_line(Canvas& canvas, int x1, int y1, int x2, int y2, const LineOption& option);

/// The outline of a rectangle; corners in any order.
void box(Canvas& canvas, int x1, int y1, int x2, int y2, Color color);

/// A rectangle with all its pixels; corners in any order.
void filled_box(Canvas& canvas, int x1, int y1, int x2, int y2, Color color);

/// The outline of a circle; radius 0 is one pixel, a negative one nothing. Under a scale it stays a
/// circle, its radius scaled like a width.
void circle(Canvas& canvas, int x, int y, int radius, Color color);

}  // namespace gr
