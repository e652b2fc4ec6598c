// Ticks, grid lines and labels of axes.

#include "src/drawaxes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "graphics/draw.h"
#include "graphics/mode.h"
#include "korla/calendar.h"

#include "src/console.h"
#include "src/plot_surface.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/drawaxes";

using gr::HorizontalAlign;
using gr::VerticalAlign;

/// A spacing of the time axis.
struct TimeSpacing {
  double major;                ///< seconds between labelled ticks
  double minor;                ///< seconds between small ticks
  const char* minutes_format;  ///< of a label in minutes of the day, for traces
  const char* clock_format;    ///< of a label with clock time, for strftime
  bool has_seconds;            ///< minute labels show the second too
};

/// From coarse to fine. The last row's minor spacing does not divide its major one: intended.
constexpr std::array<TimeSpacing, 13> time_spacings = {{
    {86400, 21600, "%d", "%Y-%m-%d", false},
    {21600, 3600, "%d", "%Y-%m-%d %H:%M", false},
    {3600, 600, "%d", "%H:%M", false},
    {1800, 300, "%d", "%H:%M", false},
    {600, 120, "%d", "%H:%M", false},
    {300, 60, "%d", "%H:%M", false},
    {120, 30, "%d", "%H:%M", false},
    {60, 15, "%d", "%H:%M", false},
    {30, 10, "%d.%2d", "%H:%M:%S", true},
    {15, 5, "%d.%2d", "%H:%M:%S", true},
    {5, 1, "%d.%2d", "%H:%M:%S", true},
    {1, 1.0 / 6, "%d.%2d", "%H:%M:%S", true},
    {0.5, 1.0 / 3, "%d.%2d", "%H:%M:%S", true},
}};

constexpr int most_pixels_between_ticks = 120;
constexpr int trial_intervals = 5;
constexpr int most_minor_ticks = 29;

/// A number cut to a whole one, toward zero; larger ones become limits far outside every calendar.
std::int64_t whole(double value) {
  constexpr double most = 4e18;
  return static_cast<std::int64_t>(std::clamp(value, -most, most));
}

/// The time axis that is being drawn.
struct TimeScale {
  double t0, t1;
  double scale;    ///< pixels per second
  double epsilon;  ///< seconds that a tick may lie outside: a thousandth of the range, for rounding
  int left, right;
  int row;  ///< of the axis line
  int label_height;
  int major_length;  ///< of a tick, pixels
  bool print_ut;     ///< labels are clock times

  int column(double t) const { return gr::to_coordinate(std::round(scale * (t - t0) + left)); }

  /// How many multiples of a spacing one tick stands for: more than one only where a multiple is
  /// less than a pixel, so that the longest axis takes no more steps than a few for each pixel.
  std::int64_t step(double spacing) const {
    return std::max(std::int64_t{1}, whole(1 / (spacing * scale)));
  }
};

TimeScale make_scale(int width, int height, int left, int top, double t0, double t1,
                     bool print_ut) {
  constexpr double day = KorLa::seconds_per_day;
  constexpr double calendar_begins = 10 * day;  // below: times of day
  if (t1 < t0) {
    t0 -= day;
  }
  if (t0 < calendar_begins) {
    t0 += day;
    t1 += day;
  }
  const int label_height = gr::string_height("0", plot_surface.text);
  return {t0,
          t1,
          width / (t1 - t0),
          0.001 * (t1 - t0),
          left,
          left + width,
          top + height + 1,
          label_height,
          static_cast<int>(0.8 * label_height),
          print_ut};
}

/// The ticks that matter: in the widest plot there are millions, of which a few can be seen.
class Sight {
 public:
  explicit Sight(const TimeScale& axis)
      : window_(gr::graphics.canvas.window),
        right_(axis.right),
        reach_(gr::string_width("0000-00-00 00:00", plot_surface.text)) {}

  /// Whether a tick or its label, which is centred below it, can be on the canvas or end right of
  /// the panel. With traces every tick matters.
  bool has(int x) const {
    return (x >= window_.x1 - reach_ && x <= window_.x2 + reach_) || x >= right_ - reach_ ||
           settings.debug > 0;
  }

 private:
  gr::UserWindow window_;
  int right_;
  int reach_;  ///< width of the longest label
};

/// The first spacing that is close enough, else the finest.
const TimeSpacing& choose_spacing(const TimeScale& axis) {
  for (std::size_t i = 0; i < time_spacings.size(); ++i) {
    const TimeSpacing& row = time_spacings[i];
    TAVRIK_TRACE(2, "distances[dist={}]={{{:g},{:g},{},{}}} {:g}\n", i, row.major, row.minor,
                 row.minutes_format, row.clock_format, row.major * axis.scale);
    if (row.major * axis.scale <= most_pixels_between_ticks) {
      return row;
    }
  }
  return time_spacings.back();
}

/// Traces what the 1-2-5 rule would give; the drawn spacing is the table's.
void trace_spacing(const TimeScale& axis, const TimeSpacing& spacing) {
  const NiceSpacing nice = nice_spacing(axis.t0 / spacing.major, axis.t1 / spacing.major);
  const auto too_many = [&axis](double minor) { return (axis.t1 - axis.t0) / minor >= 30; };
  double minor = nice.spacing_class == 1 ? spacing.major * 0.25 : spacing.major / 6;
  if (nice.spacing_class == 0) {
    minor = spacing.major / 30;
    minor = too_many(minor) ? spacing.major / 15 : minor;
    minor = too_many(minor) ? spacing.major / 6 : minor;
  }
  TAVRIK_TRACE(2, "tick_spacing = {:g}\n", nice.spacing);
  TAVRIK_TRACE(2, "lin_subtick_spacing = {:g}\n", minor);
}

std::string clock_label(const TimeSpacing& spacing, double t) {
  const std::time_t time = whole(t);
  std::tm calendar{};
  std::array<char, 100> text{};
  if (gmtime_r(&time, &calendar) != nullptr) {
    std::strftime(text.data(), text.size(), spacing.clock_format, &calendar);
  }
  TAVRIK_TRACE(1, "{} {} {}", t, time, text.data());
  return text.data();
}

/// Minute of the day, and the second padded with a blank where it is shown: intended.
std::string minute_label(const TimeSpacing& spacing, double t) {
  const std::int64_t seconds = whole(t);
  const std::int64_t minute = seconds / 60 % 1440;
  return spacing.has_seconds ? fmt::format("{}.{:2}", minute, seconds % 60)
                             : fmt::format("{}", minute);
}

std::string time_label(const TimeScale& axis, const TimeSpacing& spacing, double t) {
  return axis.print_ut ? clock_label(spacing, t) : minute_label(spacing, t);
}

void draw_tick(int x, int row, int length) {
  gr::line(x, row, x, row + length, plot_surface.foreground);
}

/// Draws the tick of a time with its label. Returns the label's last column.
int draw_major_tick(const TimeScale& axis, const TimeSpacing& spacing, double t, int x) {
  const std::string label = time_label(axis, spacing, t);
  const int width = gr::string_width(label, plot_surface.text);
  TAVRIK_TRACE(2, "distances[dist].tick * (XSize={}/Range={:g}) = {:g}\n", axis.right - axis.left,
               axis.t1 - axis.t0, spacing.major * axis.scale);
  TAVRIK_TRACE(2, "x={} y={}\n", x, axis.row);
  draw_tick(x, axis.row, axis.major_length);
  draw_label(x, axis.row + axis.label_height, label, HorizontalAlign::center, VerticalAlign::top);
  const int next = axis.column(t + spacing.major) - x;
  if (next < width) {
    TAVRIK_TRACE(2, "tw={} > {}\n", width, next);
  }
  return x + width / 2;
}

int draw_major_ticks(const TimeScale& axis, const TimeSpacing& spacing) {
  const Sight sight(axis);
  int greatest = axis.right;
  const auto first = whole(std::floor((axis.t0 + axis.epsilon) / spacing.major));
  const auto last = whole(std::ceil((axis.t1 - axis.epsilon) / spacing.major));
  for (std::int64_t k = first; k <= last; k += axis.step(spacing.major)) {
    const double t = static_cast<double>(k) * spacing.major;
    int x = axis.column(t);
    if (std::abs(x - axis.right) <= 2) {
      x = axis.right;
    } else if (x > axis.right) {
      break;
    }
    if (sight.has(x)) {
      greatest = std::max(greatest, draw_major_tick(axis, spacing, t, x));
    }
  }
  return greatest;
}

void draw_minor_ticks(const TimeScale& axis, const TimeSpacing& spacing) {
  const Sight sight(axis);
  const double s = spacing.minor;
  const auto first = whole(std::ceil((axis.t0 - axis.epsilon) / s));
  const auto last = whole(std::floor((axis.t1 + axis.epsilon) / s));
  const int end = static_cast<int>(0.5 * axis.major_length + axis.row);
  for (std::int64_t k = first; k <= last; k += axis.step(s)) {
    const double t = static_cast<double>(k) * s;
    const int x = axis.column(t);
    if (sight.has(x) && t >= axis.t0 - axis.epsilon && t <= axis.t1 + axis.epsilon) {
      draw_tick(x, axis.row, end - axis.row);
    }
  }
}

/// The value axis that is being drawn.
struct ValueScale {
  double lo, hi;
  double epsilon;
  int height, top;
  int left, right;  ///< edges of the panel: ticks begin at left - 1 and at right

  /// lo is on the panel's last row, hi on the one above its first.
  int row(double v) const {
    return gr::to_coordinate(top + height - (height / (hi - lo)) * (v - lo) - 1.0);
  }

  bool contains(double v) const { return v >= lo - epsilon && v <= hi + epsilon; }
};

/// Multiples of a spacing on the axis.
std::vector<double> ticks(const ValueScale& axis, double spacing, double first, double last) {
  std::vector<double> values;
  for (double k = first; k <= last; ++k) {
    if (axis.contains(k * spacing)) {
      values.push_back(k * spacing);
    }
  }
  return values;
}

std::vector<double> minor_ticks(const ValueScale& axis, double m) {
  return ticks(axis, m, std::ceil((axis.lo - axis.epsilon) / m),
               std::floor((axis.hi + axis.epsilon) / m));
}

/// Distance of minor ticks: they divide a spacing of class 1 in two and one of class 2 in five, and
/// one of class 0 in ten, or in five or two parts where that would be too many ticks.
double minor_spacing(const ValueScale& axis, const NiceSpacing& nice, bool integer_steps) {
  const double s = nice.spacing;
  const auto too_many = [&axis](double m) {
    return minor_ticks(axis, m).size() > most_minor_ticks;
  };
  double m = nice.spacing_class == 1 ? s * 0.5 : s / 5;
  if (nice.spacing_class == 0) {
    m = s / 10;
    m = too_many(m) ? s / 5 : m;
    m = too_many(m) ? s * 0.5 : m;
  }
  return integer_steps && m <= 1 ? 1 : m;
}

void draw_side_ticks(const ValueScale& axis, int row, int left_length, int right_length) {
  gr::line(axis.left - 1, row, axis.left - left_length, row, plot_surface.foreground);
  gr::line(axis.right, row, axis.right + right_length, row, plot_surface.foreground);
}

void draw_value(const ValueScale& axis, double v, const std::string& label) {
  constexpr std::uint8_t dots[] = {1};
  const int row = axis.row(v);
  draw_side_ticks(axis, row, 11, 10);
  gr::custom_line(axis.left - 1, row, axis.right, row, {plot_surface.foreground, 1, dots});
  draw_label(axis.left - 13, row, label, HorizontalAlign::right, VerticalAlign::middle);
  draw_label(axis.right + 12, row, label, HorizontalAlign::left, VerticalAlign::middle);
}

}  // namespace

// A fifth of the range, x, is m times a power of ten, 1 <= m < 10, and the spacing has the nearest
// of the mantissas 1, 2, 5 and 10 in m's place. Two neighbours meet at about their geometric mean,
// where the axis gets as many intervals too many with the one as too few with the other: sqrt(1 *
// 2) = 1.41 exactly; 2.95 and 6.95 instead of sqrt(2 * 5) = 3.16 and sqrt(5 * 10) = 7.07, a little
// earlier, in favour of the wider spacing: intended.
NiceSpacing nice_spacing(double a, double b) {
  const double sign = a < b ? 1 : -1;
  const double x = sign * (b - a) / trial_intervals;
  if (x <= 0) {
    fail("Error: bad trial inter-tick spacing {:g}\n", x);
  }
  const double power = std::pow(10.0, std::floor(std::log10(x)));
  const double m = x / power;
  if (m < 1.4142135623730951) {
    return {sign * power, 0};
  }
  if (m < 2.95) {
    return {sign * 2 * power, 1};
  }
  if (m < 6.95) {
    return {sign * 5 * power, 2};
  }
  return {sign * 10 * power, 0};
}

int draw_time_axis(int width, int height, int left, int top, double t0, double t1, bool print_ut) {
  const TimeScale axis = make_scale(width, height, left, top, t0, t1, print_ut);
  const TimeSpacing& spacing = choose_spacing(axis);
  trace_spacing(axis, spacing);
  const int greatest = draw_major_ticks(axis, spacing);
  draw_minor_ticks(axis, spacing);
  return greatest;
}

int draw_value_axis(int width, int height, int left, int top, bool integer_steps, double lo,
                    double hi) {
  const ValueScale axis = {lo, hi, 0.001 * (hi - lo), height, top, left, left - 1 + width};
  const NiceSpacing nice = nice_spacing(lo, hi);
  int widest = 0;
  for (const double v : ticks(axis, nice.spacing, std::floor((lo + axis.epsilon) / nice.spacing),
                              std::ceil((hi - axis.epsilon) / nice.spacing))) {
    const std::string label = fmt::format("{:g}", v);
    widest = std::max(widest, gr::string_width(label, plot_surface.text));
    draw_value(axis, v, label);
  }
  for (const double v : minor_ticks(axis, minor_spacing(axis, nice, integer_steps))) {
    draw_side_ticks(axis, axis.row(v), 6, 5);
  }
  plot_surface.text.horizontal = HorizontalAlign::left;
  plot_surface.text.vertical = VerticalAlign::middle;
  return widest;
}

}  // namespace tavrik
