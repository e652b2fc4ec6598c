// Drawing and saving complete plots.

#include "src/save_plot.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cstdio>

#include "graphics/draw.h"
#include "graphics/mode.h"
#include "graphics/png.h"

#include "src/console.h"
#include "src/display_state.h"
#include "src/plot_routines.h"
#include "src/plot_surface.h"
#include "src/result_plot.h"
#include "src/result_stream.h"
#include "src/settings.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/save_plot";

/// Empty columns on either side of the plot's extent.
constexpr int margin = 10;

void trace_path(const boost::filesystem::path& path) {
  TAVRIK_TRACE(1, "strippath: {}", path.string());
}

/// The path without its first element.
boost::filesystem::path without_first(const boost::filesystem::path& path) {
  boost::filesystem::path rest;
  for (auto element = std::next(path.begin()); element != path.end(); ++element) {
    rest /= *element;
  }
  trace_path(rest);
  return rest;
}

bool begins_with(const boost::filesystem::path& path, const char* element) {
  return !path.empty() && *path.begin() == element;
}

void save(const gr::Canvas& picture, const std::string& data_path) {
  std::string path = "standard output";
  gr::SaveResult result;
  if (settings.to_stdout) {
    result = gr::save_png(picture, gr::graphics.palette, stdout);
  } else {
    path = result_path(strippath(data_path), "png");
    result = is_protected(path) ? gr::SaveResult::cannot_open
                                : gr::save_png(picture, gr::graphics.palette, path);
  }
  if (result == gr::SaveResult::cannot_open) {
    warn("Can't open {}\n", path);
  } else if (result == gr::SaveResult::cannot_write) {
    warn("Can't write {}\n", path);
  }
  result_state.output_lost = result_state.output_lost || result != gr::SaveResult::saved;
}

/// Draws the plot on a memory canvas of the picture's width. The panels are always centred on the
/// canvas, so on this one all columns are new_left - old_left further right than on the one where
/// the plot's extent was measured. The pan takes that back, and puts the least column `margin`
/// pixels from the left edge.
void draw_in_memory(const ResultSeries& results, int width) {
  const int old_left = (gr::GrSizeX() - plot_times(results, settings).width) / 2;
  resize_memory_canvas(width);
  const int new_left = (gr::GrSizeX() - plot_times(results, settings).width) / 2;
  display_state.horizontal_offset = margin - (display_state.least_x - old_left + new_left);
  draw_result_plot(results, settings, display_state, BeyondEdge::nothing);
}

/// Draws the plot screen by screen and gathers what is seen in a canvas of the picture's width.
/// Marks at the edge of a screen are in both screens, so that they are whole in the picture.
gr::Canvas draw_in_slices(const ResultSeries& results, int width) {
  gr::Canvas picture(width, picture_height);
  std::fill(picture.pixels.begin(), picture.pixels.end(),
            static_cast<std::uint8_t>(plot_surface.background));
  const int least = display_state.least_x;
  for (int column = 0; column < width; column += gr::GrSizeX()) {
    display_state.horizontal_offset = margin - least - column;
    draw_result_plot(results, settings, display_state, BeyondEdge::reaching_marks);
    gr::bit_blit(picture, column, 0, 0, 0, gr::max_x(), gr::max_y());
  }
  return picture;
}

}  // namespace

std::string strippath(const std::string& path) {
  boost::filesystem::path rest(path);
  trace_path(rest);
  if (path.starts_with('/')) {
    // All of the slashes: two would be a root of their own kind.
    rest = path.substr(std::min(path.find_first_not_of('/'), path.size()));
    trace_path(rest);
  }
  if (begins_with(rest, "home")) {
    rest = without_first(rest);
  }
  while (begins_with(rest, "korla")) {
    rest = without_first(rest);
  }
  return rest.string();
}

void save_complete_plot(const std::string& data_path, const ResultSeries& results) {
  const DisplayState before = display_state;
  display_state.horizontal_offset = 0;
  display_state.vertical_offset = 0;
  result_plot(data_path, results, save_and_exit_key);  // for the extent, whatever plot was shown
  const int width = display_state.greatest_x - display_state.least_x + 2 * margin;
  if (settings.memory) {
    draw_in_memory(results, width);
    save(gr::graphics.canvas, data_path);
  } else {
    save(draw_in_slices(results, width), data_path);
  }
  display_state = before;
}

}  // namespace tavrik
