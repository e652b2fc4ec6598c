// Drawing of the result plot.

#include "src/result_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "graphics/draw.h"
#include "graphics/mode.h"
#include "korla/calendar.h"

#include "src/console.h"
#include "src/drawaxes.h"
#include "src/plot_surface.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/result_plot";
constexpr std::uint8_t dots[] = {1};
constexpr double day = KorLa::seconds_per_day;
constexpr double usual_velocity_maximum = 1000;

constexpr double longest_bar = 100000;  // leaves room for the panels in the widest picture
constexpr double widest_plot = gr::farthest_coordinate;

using gr::HorizontalAlign;
using gr::to_coordinate;
using gr::VerticalAlign;

/// The plot that is being drawn.
struct Drawing : Panels {
  const Settings& options;
  DisplayState& state;
};

int azimuth_row(const Panels& p, double azimuth) {
  return to_coordinate(p.middle - azimuth * p.row_per_degree);
}

int velocity_row(const Panels& p, double velocity) {
  return to_coordinate(p.bottom - velocity * p.velocity_height / p.velocity_maximum);
}

/// Seconds between records: the first difference that the next one equals, else the first.
double time_step(const ResultSeries& series, int cstep) {
  constexpr double equal = 0.0001;
  const std::vector<ResultRecord>& r = series.records;
  double step = cstep / series.sampling_frequency;
  for (std::size_t i = 0; i + 2 < r.size(); ++i) {
    const double t1 = r[i + 1].time - r[i].time;
    const double t2 = r[i + 2].time - r[i + 1].time;
    TAVRIK_TRACE(1, "t1 = {} t2 = {}", t1, t2);
    if (std::fabs(t1 - t2) <= equal && t1 > 0) {
      return t1;
    }
  }
  if (r.size() > 1 && r[1].time > r[0].time) {
    step = r[1].time - r[0].time;
  }
  return step;
}

/// Seconds from the left edge; a time before it is one of the next day.
double time_from(const PlotTimes& times, double time) {
  const double seconds = time - times.first;
  return seconds < 0 ? seconds + day : seconds;
}

/// Columns from the left edge.
int column(const Panels& p, double time) {
  return to_coordinate(time_from(p.times, time) / p.times.step) / p.compact;
}

Panels lay_out(const ResultSeries& series, const Settings& options) {
  const PanelLayout& layout = panel_layout(options.graphics_mode);
  Panels p;
  p.times = plot_times(series, options);
  p.compact = options.compact;
  p.left = (gr::GrSizeX() - p.times.width) / 2;
  p.right = p.left + p.times.width;
  p.top = layout.top_margin;
  p.azimuth_height = layout.azimuth_height;
  p.middle = p.top + p.azimuth_height;
  p.velocity_height = layout.velocity_height;
  p.bottom = p.middle + p.velocity_height;
  p.row_per_degree = p.azimuth_height / 360.0;
  p.velocity_maximum = velocity_maximum(series.records, options);
  return p;
}

/// Makes the plot's extent reach these columns.
void extend(DisplayState& state, int least, int greatest) {
  state.least_x = std::min(state.least_x, least);
  state.greatest_x = std::max(state.greatest_x, greatest);
}

void draw_title_line(const Drawing& p, const std::string& text, int y) {
  const int center = gr::GrSizeX() / 2;
  const int half_width = gr::string_width(text, plot_surface.text) / 2;
  draw_label(center, y, text, HorizontalAlign::center, VerticalAlign::top);
  extend(p.state, center - half_width, center + half_width);
}

void draw_titles(const Drawing& p) {
  draw_title_line(p, p.options.title, 0);
  draw_title_line(p, "Az & Vp (m/s)", gr::string_height("0", plot_surface.text));
}

void draw_azimuth_scale(const Drawing& p) {
  const gr::Color color = plot_surface.foreground;
  for (const int azimuth : {360, 270, 180, 90, 0}) {
    const int row = azimuth_row(p, azimuth);
    const std::string label = fmt::format("{}", azimuth);
    draw_label(p.left - 5, row, label, HorizontalAlign::right, VerticalAlign::middle);
    draw_label(p.right + 5, row, label, HorizontalAlign::left, VerticalAlign::middle);
    gr::line(p.left, row, p.left - 3, row, color);
    gr::line(p.right, row, p.right + 3, row, color);
    gr::custom_line(p.left, row, p.right, row, {color, 1, dots});
  }
}

/// Draws titles, scales, frames and the time axis, and begins the plot's extent.
void draw_frame(const Drawing& p) {
  p.state.least_x = p.left;
  p.state.greatest_x = p.right;
  draw_titles(p);
  draw_azimuth_scale(p);
  const int label_width = draw_value_axis(p.times.width, p.velocity_height, p.left, p.middle, false,
                                          0, p.velocity_maximum);
  const int azimuth_width = gr::string_width("360", plot_surface.text);
  extend(p.state, p.left - std::max(label_width, azimuth_width), p.right + 12 + label_width);
  gr::box(p.left, p.top, p.right + 2, p.middle, plot_surface.foreground);
  gr::box(p.left, p.middle, p.right + 2, p.bottom, plot_surface.foreground);
  const double shift = p.state.center_time ? p.times.step / 2 : 0;
  const int last_label =
      draw_time_axis(p.times.width + 2, p.azimuth_height + p.velocity_height, p.left, p.top,
                     p.times.first + shift, p.times.last + shift, p.options.print_ut);
  extend(p.state, p.left, last_label);
}

/// How far a plus sign reaches to every side.
constexpr int reach_of_plus = 2;

/// A plus sign around column x + 1.
void draw_plus(int x, int row, gr::Color color) {
  gr::line(x + 3, row, x - 1, row, color);
  gr::line(x + 1, row + 2, x + 1, row - 2, color);
}

/// Radius of the circle that shows a correlation.
int marker_radius(double cmax) {
  return to_coordinate(cmax * 5);
}

void draw_azimuth_marker(int x, int row, double cmax, MarkerType type) {
  const gr::Color blue = plot_surface.ega[ega_blue];
  if (type != MarkerType::maxcrs) {
    draw_plus(x, row, blue);
    return;
  }
  const int radius = marker_radius(cmax);
  if (radius < 1) {
    gr::plot_pixel(x + 1, row, blue);
  } else {
    gr::circle(x + 1, row, radius, blue);
  }
}

/// How far the marks of a record reach to either side of its column.
int reach(const ResultRecord& record, MarkerType type) {
  return type == MarkerType::maxcrs ? std::max(marker_radius(record.cmax), reach_of_plus)
                                    : reach_of_plus;
}

bool is_in_sight(const Drawing& p, const ResultRecord& record, int column, BeyondEdge beyond) {
  const int on_screen = column + p.state.horizontal_offset;
  const int margin = beyond == BeyondEdge::reaching_marks ? reach(record, p.options.type) : 0;
  return on_screen >= -margin && on_screen <= gr::GrSizeX() + margin;
}

void draw_record(const Drawing& p, const ResultRecord& record, double max_slope,
                 BeyondEdge beyond) {
  const int x = p.left + column(p, record.time);
  if (std::isnan(record.az) || !is_in_sight(p, record, x + 1, beyond)) {
    return;
  }
  if (p.options.lsq_plot && max_slope > 0) {
    const int highest = p.azimuth_height / 2;
    const double length = record.slope / max_slope * highest;
    gr::line(x + 1, p.middle - 1, x + 1, to_coordinate(p.middle - length),
             plot_surface.ega[ega_green]);
  }
  draw_azimuth_marker(x, azimuth_row(p, record.az), record.cmax, p.options.type);
  if (record.vel2 < p.velocity_maximum) {
    draw_plus(x, velocity_row(p, record.vel2), plot_surface.ega[ega_red]);
  }
}

void draw_records(const Drawing& p, std::span<const ResultRecord> records, BeyondEdge beyond) {
  double max_slope = 0;
  for (const ResultRecord& record : records) {
    max_slope = std::max(max_slope, record.slope);
  }
  for (const ResultRecord& record : records) {
    draw_record(p, record, max_slope, beyond);
  }
}

/// A bar of the histogram to the right of the azimuth panel.
void draw_bar(const Drawing& p, int start, double length, int row) {
  const int end = start + static_cast<int>(std::min(length, longest_bar));
  gr::line(start, row, end, row, plot_surface.ega[ega_blue]);
  extend(p.state, start, end);
}

/// Draws the mean quality of a bucket, if there is one to draw.
void draw_mean_bar(const Drawing& p, const AzimuthBucket& bucket, int row) {
  double mean = bucket.quality / static_cast<double>(bucket.count);
  mean = p.options.logcaz ? std::log(mean) : mean;
  if (mean > 0 && std::isfinite(mean)) {
    draw_bar(p, p.right + 33, mean, row);
  }
}

void draw_histogram(const Drawing& p, std::span<const ResultRecord> records) {
  const auto buckets = count_azimuths(records, p.azimuth_height, p.options.crsfilter);
  for (std::size_t i = 0; i < buckets.size(); ++i) {
    const int row = p.middle - static_cast<int>(i);
    if (buckets[i].filtered_count > 0) {
      draw_bar(p, p.right + 3, static_cast<double>(buckets[i].filtered_count), row);
    }
    if (p.options.plotcaz && buckets[i].count > 0) {
      draw_mean_bar(p, buckets[i], row + 1);
    }
  }
}

}  // namespace

PlotTimes plot_times(const ResultSeries& series, const Settings& options) {
  PlotTimes times;
  times.step = time_step(series, options.cstep);
  if (!series.records.empty()) {
    times.first = series.records.front().time;
    times.last = series.records.back().time;
  }
  if (options.range_forced) {
    times.first = options.range_t0;
    times.last = options.range_t1;
    times.step = std::min(times.step, 64 / series.sampling_frequency);
  }
  if (time_from(times, times.last) == 0) {  // an axis has two ends, also a day apart
    times.last = times.first + times.step;
  }
  TAVRIK_TRACE(1, "tdiff = {}", times.step);
  const double columns = time_from(times, times.last) / times.step / options.compact;
  if (!(columns <= widest_plot)) {  // a NaN, too
    fail("Error: the plot has more than {} columns: use --compact=# or --range=t0-t1\n",
         gr::farthest_coordinate);
  }
  times.width = static_cast<int>(std::max(0.0, columns));
  return times;
}

double velocity_maximum(std::span<const ResultRecord> records, const Settings& options) {
  if (!options.coord_loaded) {
    return usual_velocity_maximum;
  }
  constexpr double none = -1e100;
  std::array<double, 3> highest = {none, none, none};  // the running maximum, and the two before it
  for (const ResultRecord& record : records) {
    if (!std::isnan(record.az) && record.vel2 > highest[0]) {
      highest = {record.vel2, highest[0], highest[1]};
    }
  }
  return highest[2] > 0 && std::isfinite(highest[2]) ? highest[2] : usual_velocity_maximum;
}

std::vector<AzimuthBucket> count_azimuths(std::span<const ResultRecord> records, int height,
                                          double filter) {
  std::vector<AzimuthBucket> buckets(static_cast<std::size_t>(height) + 1);
  const double row_per_degree = height / 360.0;
  for (const ResultRecord& record : records) {
    const double place = record.az * row_per_degree;
    if (!(place >= 0 && place < static_cast<double>(buckets.size()))) {
      continue;  // a NaN azimuth too
    }
    AzimuthBucket& bucket = buckets[static_cast<std::size_t>(place)];
    ++bucket.count;
    bucket.quality += record.quality;
    bucket.filtered_count += record.cmax >= filter ? 1 : 0;
  }
  return buckets;
}

const ResultRecord* record_at(const Panels& panels, std::span<const ResultRecord> records, int x,
                              int y) {
  if (y < panels.top || y > panels.bottom) {
    return nullptr;
  }
  const bool is_above = y <= panels.middle;
  const ResultRecord* nearest = nullptr;
  std::int64_t least = 0;
  for (const ResultRecord& record : records) {
    const std::int64_t columns = panels.left + column(panels, record.time) + 1 - x;
    if (std::abs(columns) > reach_of_plus || std::isnan(record.az) ||
        !(is_above || record.vel2 < panels.velocity_maximum)) {
      continue;
    }
    const std::int64_t rows =
        (is_above ? azimuth_row(panels, record.az) : velocity_row(panels, record.vel2)) - y;
    const std::int64_t distance = columns * columns + rows * rows;
    if (nearest == nullptr || distance < least) {
      nearest = &record;
      least = distance;
    }
  }
  return nearest;
}

Panels draw_result_plot(const ResultSeries& series, const Settings& options, DisplayState& state,
                        BeyondEdge beyond) {
  const Drawing drawing{lay_out(series, options), options, state};
  begin_drawing(state);
  draw_frame(drawing);
  draw_records(drawing, series.records, beyond);
  draw_histogram(drawing, series.records);
  extend(state, state.least_x - 2, state.greatest_x + 2);
  TAVRIK_TRACE(1, "plot_maxx={} plot_minx={} diff={}", state.greatest_x, state.least_x,
               state.greatest_x - state.least_x);
  return drawing;
}

}  // namespace tavrik
