// Drawing of the compass plots.

#include "src/circular_plot.h"

#include <cmath>
#include <numbers>

#include "graphics/draw.h"
#include "graphics/mode.h"

#include "src/display_state.h"
#include "src/plot_surface.h"
#include "src/settings.h"
#include "src/viewer_wait.h"

namespace tavrik {

namespace {

using gr::HorizontalAlign;
using gr::VerticalAlign;

/// Distance of a window's dot from the centre, before it is divided.
using Radius = double (*)(std::size_t number, const ResultRecord& record);

/// The centre of the compass, pixels.
struct Center {
  int x = gr::GrSizeX() / 2;
  int y = gr::GrSizeY() / 2;
};

struct Place {
  int x, y;
};

/// The place of a dot: the offset from the centre is cut toward it.
Place dot_place(const Center& center, double azimuth, double radius) {
  const double theta = azimuth - std::numbers::pi / 2;
  return {center.x + gr::to_coordinate(std::cos(theta) * radius / display_state.div),
          center.y + gr::to_coordinate(std::sin(theta) * radius / display_state.div)};
}

/// The place of a bar's end: the coordinate itself is cut.
Place bar_place(const Center& center, double azimuth, double radius) {
  const double phi = azimuth - std::numbers::pi / 2;
  return {gr::to_coordinate(center.x + std::cos(phi) * radius / display_state.div),
          gr::to_coordinate(center.y + std::sin(phi) * radius / display_state.div)};
}

void draw_titles() {
  const int x = gr::GrSizeX() / 2;
  const int y = gr::GrSizeY() - plot_surface.text.font->height;
  plot_surface.text.color = plot_surface.ega[ega_black];
  draw_label(x, y, settings.title, HorizontalAlign::center, VerticalAlign::bottom);
  draw_label(x, y, "AZ & F*COS(EL)", HorizontalAlign::center, VerticalAlign::top);
}

void draw_compass(const Center& center, int n_records) {
  const gr::Color red = plot_surface.ega[ega_red];
  const int step = (n_records - 1) / 6;
  for (int r = 0; r < n_records; r += step) {
    gr::circle(center.x, center.y, r / display_state.div, red);
    if (step == 0) {
      break;  // a few windows have no rings
    }
  }
  gr::line(0, center.y, gr::GrSizeX(), center.y, red);
  gr::line(center.x, 0, center.x, gr::GrSizeY(), red);
}

/// Draws the dots. With a time shift, the azimuths are those of records further on.
void draw_dots(const Center& center, std::span<const ResultRecord> records, Radius radius) {
  const auto n = static_cast<long>(records.size());
  for (long i = 0; i < n; ++i) {
    const long j = ((i + display_state.time_shift) % n + n) % n;
    const double azimuth = records[static_cast<std::size_t>(j)].az;
    const auto number = static_cast<std::size_t>(i);
    const double rho = radius(number, records[number]);
    if (std::isnan(azimuth) || std::isnan(rho)) {
      continue;
    }
    const Place dot = dot_place(center, azimuth * std::numbers::pi / 180, rho);
    gr::plot_pixel(dot.x, dot.y, plot_surface.ega[ega_black]);
  }
}

/// Draws a bar for each sector, on the circle of the last window.
void draw_rose(const Center& center, std::span<const ResultRecord> records) {
  const auto counts = count_sectors(records, settings.hist_size, settings.crsfilter);
  const auto base = static_cast<double>(records.size());
  for (std::size_t b = 0; b < counts.size(); ++b) {
    if (counts[b] == 0) {
      continue;
    }
    const double azimuth = 2 * static_cast<double>(b) * std::numbers::pi / settings.hist_size;
    const Place from = bar_place(center, azimuth, base);
    const Place to = bar_place(center, azimuth, base + static_cast<double>(counts[b]));
    gr::line(from.x, from.y, to.x, to.y, plot_surface.ega[ega_black]);
  }
}

int draw(const std::string& name, const ResultSeries& series, int save, Radius radius) {
  if (settings.title.empty()) {
    settings.title = name;
  }
  const Center center;
  begin_drawing();
  draw_titles();
  draw_compass(center, static_cast<int>(series.records.size()));
  draw_dots(center, series.records, radius);
  draw_rose(center, series.records);
  return save != 0 ? save : wait_for_key();
}

double number_of_window(std::size_t number, const ResultRecord&) {
  return static_cast<double>(number);
}

double velocity_of_window(std::size_t, const ResultRecord& record) {
  return record.vel2;
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

int circular_plot(const std::string& name, const ResultSeries& series, int save) {
  return draw(name, series, save, number_of_window);
}

int circular_velocity_plot(const std::string& name, const ResultSeries& series, int save) {
  return draw(name, series, save, velocity_of_window);
}

}  // namespace tavrik
