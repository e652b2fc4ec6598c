// Drawing of the compass plots.

#include "src/circular_plot.h"

#include <cmath>
#include <numbers>
#include <string>

#include "graphics/draw.h"
#include "graphics/mode.h"

#include "src/plot_surface.h"

namespace tavrik {

namespace {

using gr::HorizontalAlign;
using gr::VerticalAlign;

/// A place on the canvas, pixels.
struct Place {
  int x, y;
};

Place center() {
  return {gr::GrSizeX() / 2, gr::GrSizeY() / 2};
}

// Azimuths run clockwise from north, which is up. Angles on the canvas run clockwise too, because
// rows count downward, but from the right: they are a right angle less. So an azimuth's direction
// is (cos(azimuth - pi / 2), sin(azimuth - pi / 2)) in columns and rows.
//
// Dots and bars are cut to whole pixels in two ways, which can be one pixel apart: intended.

/// The place of a dot: its way from the centre is cut. azimuth: radians.
Place dot_place(double azimuth, double radius, int div) {
  const double theta = azimuth - std::numbers::pi / 2;
  const Place from = center();
  return {from.x + gr::to_coordinate(std::cos(theta) * radius / div),
          from.y + gr::to_coordinate(std::sin(theta) * radius / div)};
}

/// The place of a bar's end: the coordinate itself is cut. azimuth: radians.
Place bar_place(double azimuth, double radius, int div) {
  const double phi = azimuth - std::numbers::pi / 2;
  const Place from = center();
  return {gr::to_coordinate(from.x + std::cos(phi) * radius / div),
          gr::to_coordinate(from.y + std::sin(phi) * radius / div)};
}

void draw_titles(const std::string& title) {
  const int x = gr::GrSizeX() / 2;
  const int y = gr::GrSizeY() - plot_surface.text.font->height;
  plot_surface.text.color = plot_surface.ega[ega_black];
  draw_label(x, y, title, HorizontalAlign::center, VerticalAlign::bottom);
  draw_label(x, y, "AZ & F*COS(EL)", HorizontalAlign::center, VerticalAlign::top);
}

/// Draws the cross-hair and a ring for every sixth of the windows.
void draw_compass(int n_records, int div) {
  const gr::Color red = plot_surface.ega[ega_red];
  const auto [x, y] = center();
  const int step = (n_records - 1) / 6;
  for (int r = 0; r < n_records; r += step) {
    gr::circle(x, y, r / div, red);
    if (step == 0) {
      break;  // too few windows for rings: the centre alone
    }
  }
  gr::line(0, y, gr::GrSizeX(), y, red);
  gr::line(x, 0, x, gr::GrSizeY(), red);
}

/// A dot, and the record whose azimuth it has.
struct Dot {
  Place place;
  const ResultRecord* record;
};

/// Calls visit(dot) for every dot. With a time shift a dot keeps its radius and takes the azimuth
/// of a later record; after the last record the first one follows.
template <typename Visit>
void for_each_dot(std::span<const ResultRecord> records, const DisplayState& state,
                  DotRadius radius, const Visit& visit) {
  const auto n = static_cast<long>(records.size());
  for (long i = 0; i < n; ++i) {
    const long j = ((i + state.time_shift) % n + n) % n;
    const ResultRecord& turned = records[static_cast<std::size_t>(j)];
    const double rho = radius == DotRadius::velocity ? records[static_cast<std::size_t>(i)].vel2
                                                     : static_cast<double>(i);
    if (!std::isnan(turned.az) && !std::isnan(rho)) {
      visit(Dot{dot_place(turned.az * std::numbers::pi / 180, rho, state.div), &turned});
    }
  }
}

/// Draws a bar for each sector. The bars stand on the circle that is as far from the centre as a
/// window after the last one would be, and a window in the sector is as long as one on the radius.
void draw_rose(std::span<const ResultRecord> records, const Settings& options, int div) {
  const auto counts = count_sectors(records, options.hist_size, options.crsfilter);
  const auto base = static_cast<double>(records.size());
  for (std::size_t b = 0; b < counts.size(); ++b) {
    if (counts[b] == 0) {
      continue;
    }
    const double azimuth = 2 * static_cast<double>(b) * std::numbers::pi / options.hist_size;
    const Place from = bar_place(azimuth, base, div);
    const Place to = bar_place(azimuth, base + static_cast<double>(counts[b]), div);
    gr::line(from.x, from.y, to.x, to.y, plot_surface.ega[ega_black]);
  }
}

}  // namespace

std::vector<std::size_t> count_sectors(std::span<const ResultRecord> records, int sectors,
                                       double filter) {
  std::vector<std::size_t> counts(static_cast<std::size_t>(sectors));
  for (const ResultRecord& record : records) {
    if (record.az >= 0 && record.az <= 360 && record.cmax >= filter) {
      ++counts[static_cast<std::size_t>(record.az * sectors / 360) % counts.size()];
    }
  }
  return counts;
}

void draw_circular_plot(const ResultSeries& series, const Settings& options,
                        const DisplayState& state, DotRadius radius) {
  begin_drawing(state);
  draw_titles(options.title);
  draw_compass(static_cast<int>(series.records.size()), state.div);
  for_each_dot(series.records, state, radius, [](const Dot& dot) {
    gr::plot_pixel(dot.place.x, dot.place.y, plot_surface.ega[ega_black]);
  });
  draw_rose(series.records, options, state.div);
}

const ResultRecord* nearest_dot(std::span<const ResultRecord> records, const DisplayState& state,
                                DotRadius radius, int x, int y) {
  const ResultRecord* nearest = nullptr;
  double least = 0;
  for_each_dot(records, state, radius, [&](const Dot& dot) {
    const double distance = std::hypot(dot.place.x - x, dot.place.y - y);
    if (nearest == nullptr || distance < least) {
      nearest = dot.record;
      least = distance;
    }
  });
  return nearest;
}

}  // namespace tavrik
