#pragma once
// Pixels of the current surface: the way from user coordinates to them, and all clipping. For this
// folder's own sources.

#include <algorithm>
#include <cstdint>

#include "graphics/canvas.h"

namespace gr {

/// A pixel, on the surface or not.
struct Pixel {
  std::int64_t x = 0;
  std::int64_t y = 0;
};

/// Numbers from first to last; none if last is less.
struct Span {
  std::int64_t first = 0;
  std::int64_t last = -1;
};

inline Span overlap(const Span& a, const Span& b) {
  return {std::max(a.first, b.first), std::min(a.last, b.last)};
}

/// The steps, counted from `start` on in the direction 1 or -1, that lie within 0..size-1. To be
/// cut to the steps that there are: for (i = span.first; i <= span.last; ++i) then is safe.
inline Span steps_inside(std::int64_t start, int direction, std::int64_t size) {
  return direction > 0 ? Span{-start, size - 1 - start} : Span{start - (size - 1), start};
}

/// The pixel of user coordinates. Under a scale it is at most 2^31 away from either axis; without
/// one two pixels are as far from each other as their coordinates.
Pixel to_pixel(int x, int y);

/// A width in pixels, from 0 to 2^31 - 1.
std::int64_t to_pixels(int width);

/// Sets a pixel that is known to be on the surface.
void set_pixel(std::int64_t x, std::int64_t y, Color color);

/// Sets a pixel if it is on the surface.
void set_pixel_clipped(std::int64_t x, std::int64_t y, Color color);

/// Sets all pixels of a rectangle, corners included and in any order, that are on the surface.
void fill_clipped(const Pixel& corner, const Pixel& opposite, Color color);

}  // namespace gr
