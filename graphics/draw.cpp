// Lines, boxes and circles.

#include "graphics/draw.h"

#include <cmath>
#include <cstdlib>
#include <numeric>

#include "graphics/mode.h"
#include "graphics/raster.h"

namespace gr {

namespace {

/// A line as steps along its longer side: step k is k pixels away from the start there, and
/// drift(k) pixels away on the other side. Lengths are below 2^32, so that their products fit
/// 64 bits.
class Steps {
 public:
  Steps(const Pixel& from, const Pixel& to)
      : steep_(std::abs(to.y - from.y) > std::abs(to.x - from.x)),
        start_(turned(from)),
        direction_{turned(to).x < start_.x ? -1 : 1, turned(to).y < start_.y ? -1 : 1},
        length_(distance(turned(to).x, start_.x)),
        height_(distance(turned(to).y, start_.y)),
        half_((length_ - (length_ > 0 && direction_.y > 0 ? 1 : 0)) / 2) {}

  /// Calls visit(k, x, y) for each step whose pixel is on the surface.
  template <typename Visit>
  void for_each_visible(const Visit& visit) const {
    const Span steps = visible();
    if (steps.last < steps.first) {
      return;
    }
    const std::uint64_t divisor = std::max<std::uint64_t>(length_, 1);
    const std::uint64_t numerator = static_cast<std::uint64_t>(steps.first) * height_ + half_;
    std::uint64_t rest = numerator % divisor;
    Pixel at = {start_.x + direction_.x * steps.first,
                start_.y + direction_.y * static_cast<std::int64_t>(numerator / divisor)};
    for (std::int64_t k = steps.first; k <= steps.last; ++k) {
      const Pixel pixel = turned(at);
      visit(static_cast<std::uint64_t>(k), pixel.x, pixel.y);
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

  /// The first step whose drift is at least this, for one from 0 to the line's height. The drift of
  /// step k is (k * height_ + half_) / length_, cut.
  std::int64_t first_with_drift(std::uint64_t drift) const {
    return drift == 0
               ? 0
               : static_cast<std::int64_t>((drift * length_ - half_ + height_ - 1) / height_);
  }

  /// The steps on the surface.
  Span visible() const {
    const Context& screen = surface.screen;
    const Pixel size = turned({screen.width, screen.height});
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
  std::uint64_t half_;    ///< of the length: rounds to the nearest pixel, to the upper of two
};

/// Strokes and gaps in turn, repeated for ever.
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

void plot_pixel(int x, int y, Color color) {
  const Pixel pixel = to_pixel(x, y);
  set_pixel_clipped(pixel.x, pixel.y, color);
}

void line(int x1, int y1, int x2, int y2, Color color) {
  const Steps steps(to_pixel(x1, y1), to_pixel(x2, y2));
  steps.for_each_visible(
      [color](std::uint64_t, std::int64_t x, std::int64_t y) { set_pixel(x, y, color); });
}

void custom_line(int x1, int y1, int x2, int y2, const LineOption& option) {
  const DashPattern pattern(option.dashes);
  const Steps steps(to_pixel(x1, y1), to_pixel(x2, y2));
  steps.for_each_visible([&](std::uint64_t number, std::int64_t x, std::int64_t y) {
    if (pattern.is_stroke(number)) {
      set_pixel(x, y, option.color);
    }
  });
}

void box(int x1, int y1, int x2, int y2, Color color) {
  const Pixel a = to_pixel(x1, y1);
  const Pixel b = to_pixel(x2, y2);
  fill_clipped(a, {b.x, a.y}, color);
  fill_clipped({a.x, b.y}, b, color);
  fill_clipped(a, {a.x, b.y}, color);
  fill_clipped({b.x, a.y}, b, color);
}

void filled_box(int x1, int y1, int x2, int y2, Color color) {
  fill_clipped(to_pixel(x1, y1), to_pixel(x2, y2), color);
}

void circle(int x, int y, int radius, Color color) {
  if (radius < 0) {
    return;
  }
  const Pixel center = to_pixel(x, y);
  const std::int64_t r = to_pixels(radius);
  // Arcs that are flat, drawn by columns, and steep ones, drawn by rows, up to the diagonals. Where
  // they overlap they have the same pixels.
  const std::int64_t end = nearest_root(r * r / 2);
  const Span columns = overlap({center.x - end, center.x + end}, {0, surface.screen.width - 1});
  for (std::int64_t column = columns.first; column <= columns.last; ++column) {
    const std::int64_t away = column - center.x;
    const std::int64_t height = nearest_root(r * r - away * away);
    set_pixel_clipped(column, center.y - height, color);
    set_pixel_clipped(column, center.y + height, color);
  }
  const Span rows = overlap({center.y - end, center.y + end}, {0, surface.screen.height - 1});
  for (std::int64_t row = rows.first; row <= rows.last; ++row) {
    const std::int64_t away = row - center.y;
    const std::int64_t width = nearest_root(r * r - away * away);
    set_pixel_clipped(center.x - width, row, color);
    set_pixel_clipped(center.x + width, row, color);
  }
}

}  // namespace gr
