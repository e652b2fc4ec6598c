// Drawing and saving complete plots.

#include "src/save_plot.h"

#include <algorithm>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <cstdio>
#include <new>
#include <unistd.h>

#include "graphics/draw.h"
#include "graphics/mode.h"
#include "graphics/png.h"

#include "src/console.h"
#include "src/display_state.h"
#include "src/output_file.h"
#include "src/plot_routines.h"
#include "src/plot_surface.h"
#include "src/result_plot.h"
#include "src/result_stream.h"
#include "src/settings.h"
#include "src/stop_signals.h"

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

std::string picture_path(const std::string& data_path) {
  return result_path(strippath(data_path), "png");
}

/// Writes a picture to an open file and leaves that open.
bool write_picture(const gr::Canvas& picture, int descriptor) {
  const int copy = dup(descriptor);
  std::FILE* stream = copy >= 0 ? fdopen(copy, "wb") : nullptr;
  const bool written = stream != nullptr && gr::save_png(picture, gr::graphics.palette, stream);
  return stream != nullptr && std::fclose(stream) == 0 && written;
}

SavedPicture not_saved(const std::string& reason) {
  return {false, "not saved: " + reason};
}

/// Says whether there is no folder for a picture that could not be opened. Returns why it could
/// not.
std::string why_not_open(const std::string& path) {
  const std::string folder = boost::filesystem::path(path).parent_path().string();
  KorLa::FileStatus status{};
  if (folder.empty() || stat(folder.c_str(), &status) == 0) {
    return compose("can't open {}", path);
  }
  warn("WARNING: there is no folder {} for the picture\n", folder);
  return compose("no folder {}", folder);
}

SavedPicture save_to_file(const gr::Canvas& picture, const std::string& data_path) {
  const StopSignals signals;
  const std::string path = picture_path(data_path);
  OutputFile file = open_output({path, data_path});
  if (!file.is_open()) {
    return not_saved(why_not_open(path));
  }
  const bool written = write_picture(picture, file.descriptor);
  if (!written) {
    report_lost(file);
  }
  if (!written || !finish_output(file)) {
    abandon_output(file, 0);
    return not_saved(compose("can't write {}", path));
  }
  return {true, compose("saved {}", path)};
}

SavedPicture save(const gr::Canvas& picture, const std::string& data_path) {
  if (!settings.to_stdout) {
    return save_to_file(picture, data_path);
  }
  if (gr::save_png(picture, gr::graphics.palette, stdout)) {
    return {true, "saved to standard output"};
  }
  warn("Can't write standard output\n");
  result_state.output_lost = true;
  return not_saved("can't write standard output");
}

/// Says what of the panels is below the last row of a picture.
void check_rows() {
  const PanelLayout& layout = panel_layout(settings.graphics_mode);
  const int middle = layout.top_margin + layout.azimuth_height;
  if (middle > picture_height) {
    end_line();
    warn("WARNING: no room in a picture of -g{} for azimuths below {}, velocities and times\n",
         settings.graphics_mode, (middle - picture_height) * 360 / layout.azimuth_height);
  }
}

/// Columns of the picture.
std::int64_t picture_width(const DisplayState& state) {
  return std::int64_t{state.greatest_x} - state.least_x + std::int64_t{2} * margin;
}

/// Pans so that a column of the canvas is the picture's first.
void pan_to(int column) {
  display_state.horizontal_offset = margin + column - display_state.least_x;
}

/// Draws the plot on a memory canvas of the picture's width. Panels and titles are centred on the
/// canvas, so on this one all columns are new_left - old_left further right than on the one where
/// the plot's extent was measured. The pan takes that back. Where a width is odd, the titles may be
/// a pixel from where a screen has them, since their middle is rounded by itself.
void draw_in_memory(const ResultSeries& results, int width) {
  const int old_left = (gr::GrSizeX() - plot_times(results, settings).width) / 2;
  resize_memory_canvas(width);
  const int new_left = (gr::GrSizeX() - plot_times(results, settings).width) / 2;
  pan_to(old_left - new_left);
  draw_result_plot(results, settings, display_state, BeyondEdge::nothing);
}

/// Draws the plot screen by screen and gathers what is seen in a canvas of the picture's width.
/// Marks at the edge of a screen are in both screens, so that they are whole in the picture.
gr::Canvas draw_in_slices(const ResultSeries& results, int width) {
  gr::Canvas picture(width, picture_height);
  if (picture.pixels.empty()) {
    throw std::bad_alloc();
  }
  std::fill(picture.pixels.begin(), picture.pixels.end(),
            static_cast<std::uint8_t>(plot_surface.background));
  for (int column = 0; column < width; column += gr::GrSizeX()) {
    pan_to(-column);
    draw_result_plot(results, settings, display_state, BeyondEdge::reaching_marks);
    gr::bit_blit(picture, column, 0, 0, 0, gr::max_x(), gr::max_y());
  }
  return picture;
}

SavedPicture refuse_width() {
  warn("Error: the plot is too wide: use --compact=# or --range=t0-t1\n");
  result_state.output_lost = true;
  return not_saved("the plot is too wide for a picture");
}

SavedPicture draw_and_save(const std::string& data_path, const ResultSeries& results, int width) {
  check_rows();
  if (settings.memory) {
    draw_in_memory(results, width);
    return save(gr::graphics.canvas, data_path);
  }
  return save(draw_in_slices(results, width), data_path);
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

SavedPicture save_complete_plot(const std::string& data_path, const ResultSeries& results) {
  const DisplayState before = display_state;
  display_state.horizontal_offset = 0;
  display_state.vertical_offset = 0;
  result_plot(data_path, results, save_and_exit_key);  // for the extent, whatever plot was shown
  const std::int64_t width = picture_width(display_state);
  SavedPicture outcome = width > widest_picture
                             ? refuse_width()
                             : draw_and_save(data_path, results, static_cast<int>(width));
  display_state = before;
  return outcome;
}

void remove_older_picture(const std::string& data_path) {
  result_state.output_lost = true;
  const std::string path = picture_path(data_path);
  KorLa::FileStatus status{};
  if (!settings.to_stdout && lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
      !is_protected(path) && unlink(path.c_str()) == 0) {
    warn("WARNING: {} showed earlier results and is removed\n", path);
  }
}

}  // namespace tavrik
