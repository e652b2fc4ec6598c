// The viewer's loop.

#include "src/viewer.h"

#include <algorithm>

#include "graphics/draw.h"
#include "graphics/mode.h"

#include "src/caption.h"
#include "src/console.h"
#include "src/display_state.h"
#include "src/plot_routines.h"
#include "src/plot_surface.h"
#include "src/save_plot.h"
#include "src/settings.h"
#include "src/viewer_keys.h"
#include "src/viewer_wait.h"

namespace tavrik {

namespace {

int draw_plot(const std::string& name, const ResultSeries& results) {
  const int save = settings.save_and_exit;
  switch (settings.plot_routine) {
    case PlotKind::circular:
      return circular_plot(name, results, save);
    case PlotKind::circular_velocity:
      return circular_velocity_plot(name, results, save);
    case PlotKind::result:
      break;
  }
  return result_plot(name, results, save);
}

View current_view() {
  return {display_state, settings.plot_routine, settings.print_ut, settings.debug};
}

void set_view(const View& view) {
  display_state = view.display;
  settings.plot_routine = view.plot;
  settings.print_ut = view.print_ut;
  settings.debug = view.debug;
}

/// Shows the keys over the plot until one is pressed.
void show_help() {
  const int row_height = plot_surface.text.font->height;
  const int width = gr::string_width(online_help[0], plot_surface.text);
  const int height = (static_cast<int>(online_help.size()) + 1) * row_height;
  const int x = gr::GrSizeX() / 2;
  const int top = (gr::GrSizeY() - height) / 2;
  gr::set_user_window(0, 0, gr::max_x(), gr::max_y());
  gr::filled_box(x - width / 2, top, x + width / 2 - 1, top + height - 1,
                 plot_surface.ega[ega_black]);
  plot_surface.text.color = plot_surface.ega[ega_white];
  int y = top + row_height;  // half a row of margin above and below
  for (const char* row : online_help) {
    draw_label(x, y, row, gr::HorizontalAlign::center, gr::VerticalAlign::middle);
    y += row_height;
  }
  plot_surface.text.color = plot_surface.foreground;
  wait_for_key([](int, int) { return ""; });
}

/// Saves the complete plot, and says so.
void save_picture(const ResultSeries& results, const std::string& name) {
  end_line();
  const SavedPicture picture = save_complete_plot(name, results);
  if (picture.saved) {
    info("{}\n", picture.text);
  }
  show_note(picture.text);
}

/// Does what a key asks for, other than a new drawing. Returns whether the run is to end.
bool act(Action action, const ResultSeries& results, const std::string& name, std::size_t& cursor) {
  switch (action) {
    case Action::end:
      return true;
    case Action::save_and_end:
      save_complete_plot(name, results);
      return true;
    case Action::save:
      save_picture(results, name);
      return false;
    case Action::help:
      show_help();
      return false;
    case Action::previous_file:
      cursor -= cursor > 0 ? 1 : 0;
      return false;
    case Action::next_file:
      ++cursor;
      return false;
    case Action::redraw:
      break;
  }
  return false;
}

}  // namespace

bool display(const ResultSeries& results, const std::vector<std::string>& files,
             std::size_t& cursor) {
  const std::size_t shown = cursor;
  const std::string& name = files[shown];
  info("file: {}", name);
  if (results.records.empty()) {
    warn("file: {} No data\n", name);
    if (settings.save_and_exit != 0) {
      remove_older_picture(name);
    }
    return true;
  }
  const auto n_records = static_cast<int>(results.records.size());
  display_state.div = std::min(n_records / (gr::GrSizeY() / 2) + 1, most_div);
  while (cursor == shown) {
    show_title(name);
    const int key = draw_plot(name, results);
    View view = current_view();
    const Action action = apply_key(key, view, {results.records.size(), gr::GrSizeX()});
    set_view(view);
    if (act(action, results, name, cursor)) {
      return true;
    }
  }
  return false;
}

}  // namespace tavrik
