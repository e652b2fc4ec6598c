// Pixels of a canvas: the way from user coordinates to them, all clipping, and the shapes.

#include "graphics/raster.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>

namespace gr {

namespace {

/// distance * last / window_last to the nearest whole number, of two that are equally near the
/// greater: a coordinate's distance from a window's first edge becomes one on the canvas, where
/// window_last becomes last. Division cuts toward zero, so only the rest, made positive, is
/// rounded; otherwise a plot would be rounded differently on the two sides of that edge. The
/// products stay below 2^63: distance < 2^32, last < 2^30. The result is kept within an int.
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

/// A width in pixels, from 0 to 2^31 - 1.
std::int64_t to_pixels(const Canvas& canvas, int width) {
  const UserWindow& window = canvas.window;
  const std::int64_t window_last = std::int64_t{window.x2} - window.x1;
  const std::int64_t last = canvas.width - 1;
  return window_last == last || window_last <= 0 ? width : scale(width, window_last, last);
}

/// Sets a pixel that is known to be on the canvas.
void set_pixel(Canvas& canvas, const Pixel& pixel, Color color) {
  canvas.pixels[static_cast<std::size_t>(pixel.y * canvas.width + pixel.x)] =
      static_cast<std::uint8_t>(color);
}

/// Sets all pixels of a rectangle, corners included and in any order, that are on the canvas.
void fill_clipped(Canvas& canvas, const Pixel& corner, const Pixel& opposite, Color color) {
  const auto [left, right] = std::minmax(corner.x, opposite.x);
  const auto [top, bottom] = std::minmax(corner.y, opposite.y);
  const Span columns = overlap({left, right}, {0, canvas.width - 1});
  const Span rows = overlap({top, bottom}, {0, canvas.height - 1});
  if (columns.last < columns.first) {
    return;
  }
  for (std::int64_t y = rows.first; y <= rows.last; ++y) {
    const auto row = canvas.pixels.begin() + y * canvas.width;
    std::fill(row + columns.first, row + columns.last + 1, static_cast<std::uint8_t>(color));
  }
}

/// A line as steps along its longer side: step k is k pixels away from the start there, and
/// drift(k) pixels away on the other side. A panned or scaled plot has lines that are thousands of
/// millions of steps long, of which a few hundred can be seen: so the first and last visible step
/// are computed, and only these are walked. Cutting the line's ends and drawing what is left would
/// be simpler, but has another slope after rounding, and other pixels.
///
/// The drift is k * height / length to the nearest whole number, in integers:
///   drift(k) = (k * height + half) / length, cut.
/// With half = length / 2 a drift that is exactly between two pixels becomes the greater one. Where
/// the line runs down or to the right the smaller one is wanted, and half is (length - 1) / 2.
/// Lengths are below 2^32, so that the products fit 64 bits.
class Steps {
 public:
  Steps(const Pixel& from, const Pixel& to)
      : steep_(std::abs(to.y - from.y) > std::abs(to.x - from.x)),
        start_(turned(from)),
        direction_{turned(to).x < start_.x ? -1 : 1, turned(to).y < start_.y ? -1 : 1},
        length_(distance(turned(to).x, start_.x)),
        height_(distance(turned(to).y, start_.y)),
        half_((length_ - (length_ > 0 && direction_.y > 0 ? 1 : 0)) / 2) {}

  /// Calls visit(k, pixel) for each step k whose pixel is on the canvas.
  template <typename Visit>
  void for_each_visible(const Canvas& canvas, const Visit& visit) const {
    const Span steps = visible(canvas);
    if (steps.last < steps.first) {
      return;
    }
    const std::uint64_t divisor = std::max<std::uint64_t>(length_, 1);
    const std::uint64_t numerator = static_cast<std::uint64_t>(steps.first) * height_ + half_;
    std::uint64_t rest = numerator % divisor;
    Pixel at = {start_.x + direction_.x * steps.first,
                start_.y + direction_.y * static_cast<std::int64_t>(numerator / divisor)};
    for (std::int64_t k = steps.first; k <= steps.last; ++k) {
      visit(static_cast<std::uint64_t>(k), turned(at));
      at.x += direction_.x;
      rest += height_;
      if (rest >= divisor) {
        rest -= divisor;
        at.y += direction_.y;
      }
    }
  }

 private:
  struct Direction {
    int x, y;
  };

  /// With x along the longer side; and back.
  Pixel turned(const Pixel& pixel) const { return steep_ ? Pixel{pixel.y, pixel.x} : pixel; }

  static std::uint64_t distance(std::int64_t a, std::int64_t b) {
    return static_cast<std::uint64_t>(std::abs(a - b));
  }

  /// The first step whose drift is at least this, for one from 0 to the line's height: the least k
  /// with k * height_ + half_ >= drift * length_.
  std::int64_t first_with_drift(std::uint64_t drift) const {
    return drift == 0
               ? 0
               : static_cast<std::int64_t>((drift * length_ - half_ + height_ - 1) / height_);
  }

  /// The steps on the canvas.
  Span visible(const Canvas& canvas) const {
    const Pixel size = turned({canvas.width, canvas.height});
    const Span all = {0, static_cast<std::int64_t>(length_)};
    const Span drifts = steps_inside(start_.y, direction_.y, size.y);
    const auto height = static_cast<std::int64_t>(height_);
    if (drifts.last < 0 || drifts.first > height || drifts.last < drifts.first) {
      return {};
    }
    const auto first = static_cast<std::uint64_t>(std::max<std::int64_t>(drifts.first, 0));
    const std::int64_t last =
        drifts.last >= height ? all.last
                              : first_with_drift(static_cast<std::uint64_t>(drifts.last) + 1) - 1;
    return overlap(overlap(all, {first_with_drift(first), last}),
                   steps_inside(start_.x, direction_.x, size.x));
  }

  bool steep_;
  Pixel start_;
  Direction direction_;
  std::uint64_t length_;  ///< steps after the first
  std::uint64_t height_;  ///< at most length_
  std::uint64_t half_;    ///< of the length, for rounding: see above
};

/// Strokes and gaps in turn, repeated without end.
class DashPattern {
 public:
  explicit DashPattern(std::span<const std::uint8_t> lengths)
      : lengths_(lengths),
        sum_(std::accumulate(lengths.begin(), lengths.end(), std::uint64_t{0})) {}

  /// Whether the pixel with this number belongs to a stroke.
  bool is_stroke(std::uint64_t number) const {
    if (sum_ == 0) {
      return true;
    }
    const bool odd_round = lengths_.size() % 2 == 1 && number / sum_ % 2 == 1;
    std::uint64_t left = number % sum_;
    std::size_t i = 0;
    while (left >= lengths_[i]) {
      left -= lengths_[i++];
    }
    return (i % 2 == 0) != odd_round;
  }

 private:
  std::span<const std::uint8_t> lengths_;
  std::uint64_t sum_;
};

/// The nearest whole number to the square root, exactly; for squares below 2^62.
std::int64_t nearest_root(std::int64_t square) {
  auto root = static_cast<std::int64_t>(std::sqrt(static_cast<double>(square)));
  while (root * root - root >= square && root > 0) {
    --root;
  }
  while (root * root + root < square) {
    ++root;
  }
  return root;
}

}  // namespace

// -- pixels and the canvas as a whole -------------------------------------------------------------

Pixel to_pixel(const Canvas& canvas, int x, int y) {
  return {map(x, canvas.window.x1, canvas.window.x2, canvas.width),
          map(y, canvas.window.y1, canvas.window.y2, canvas.height)};
}

void set_pixel_clipped(Canvas& canvas, const Pixel& pixel, Color color) {
  if (pixel.x >= 0 && pixel.x < canvas.width && pixel.y >= 0 && pixel.y < canvas.height) {
    set_pixel(canvas, pixel, color);
  }
}

void clear(Canvas& canvas, Color color) {
  std::fill(canvas.pixels.begin(), canvas.pixels.end(), static_cast<std::uint8_t>(color));
}

void set_user_window(Canvas& canvas, int x1, int y1, int x2, int y2) {
  if (can_fill(x1, x2, canvas.width) && can_fill(y1, y2, canvas.height)) {
    canvas.window = {x1, y1, x2, y2};
  } else {
    canvas.window = {0, 0, canvas.width - 1, canvas.height - 1};
  }
}

void bit_blit(Canvas& target, int x, int y, const Canvas& source, int x1, int y1, int x2, int y2) {
  const Span columns =
      overlap({0, std::int64_t{x2} - x1},
              overlap(steps_inside(x1, 1, source.width), steps_inside(x, 1, target.width)));
  const Span rows = overlap({0, std::int64_t{y2} - y1}, overlap(steps_inside(y1, 1, source.height),
                                                                steps_inside(y, 1, target.height)));
  if (columns.last < columns.first) {
    return;
  }
  for (std::int64_t i = rows.first; i <= rows.last; ++i) {
    const auto from = source.pixels.begin() + (y1 + i) * source.width + (x1 + columns.first);
    const auto to = target.pixels.begin() + (y + i) * target.width + (x + columns.first);
    std::copy(from, from + (columns.last - columns.first + 1), to);
  }
}

// -- shapes ---------------------------------------------------------------------------------------

void plot_pixel(Canvas& canvas, int x, int y, Color color) {
  set_pixel_clipped(canvas, to_pixel(canvas, x, y), color);
}

void line(Canvas& canvas, int x1, int y1, int x2, int y2, Color color) {
  const Steps steps(to_pixel(canvas, x1, y1), to_pixel(canvas, x2, y2));
  steps.for_each_visible(
      canvas, [&](std::uint64_t, const Pixel& pixel) { set_pixel(canvas, pixel, color); });
}

void custom_line(Canvas& canvas, int x1, int y1, int x2, int y2, const LineOption& option) {
  const DashPattern pattern(option.dashes);
  const Steps steps(to_pixel(canvas, x1, y1), to_pixel(canvas, x2, y2));
  steps.for_each_visible(canvas, [&](std::uint64_t number, const Pixel& pixel) {
    if (pattern.is_stroke(number)) {
      set_pixel(canvas, pixel, option.color);
    }
  });
}

void box(Canvas& canvas, int x1, int y1, int x2, int y2, Color color) {
  const Pixel a = to_pixel(canvas, x1, y1);
  const Pixel b = to_pixel(canvas, x2, y2);
  fill_clipped(canvas, a, {b.x, a.y}, color);
  fill_clipped(canvas, {a.x, b.y}, b, color);
  fill_clipped(canvas, a, {a.x, b.y}, color);
  fill_clipped(canvas, {b.x, a.y}, b, color);
}

void filled_box(Canvas& canvas, int x1, int y1, int x2, int y2, Color color) {
  fill_clipped(canvas, to_pixel(canvas, x1, y1), to_pixel(canvas, x2, y2), color);
}

void circle(Canvas& canvas, int x, int y, int radius, Color color) {
  if (radius < 0) {
    return;
  }
  const Pixel center = to_pixel(canvas, x, y);
  const std::int64_t r = to_pixels(canvas, radius);
  // Where the circle is flat each column has one pixel above the centre and one below, at the
  // distance sqrt(r^2 - away^2); where it is steep each row has one on either side. Both go as far
  // as the diagonals, away = r / sqrt(2). Where they overlap they have the same pixels.
  const std::int64_t end = nearest_root(r * r / 2);
  const Span columns = overlap({center.x - end, center.x + end}, {0, canvas.width - 1});
  for (std::int64_t column = columns.first; column <= columns.last; ++column) {
    const std::int64_t away = column - center.x;
    const std::int64_t height = nearest_root(r * r - away * away);
    set_pixel_clipped(canvas, {column, center.y - height}, color);
    set_pixel_clipped(canvas, {column, center.y + height}, color);
  }
  const Span rows = overlap({center.y - end, center.y + end}, {0, canvas.height - 1});
  for (std::int64_t row = rows.first; row <= rows.last; ++row) {
    const std::int64_t away = row - center.y;
    const std::int64_t width = nearest_root(r * r - away * away);
    set_pixel_clipped(canvas, {center.x - width, row}, color);
    set_pixel_clipped(canvas, {center.x + width, row}, color);
  }
}

}  // namespace gr
