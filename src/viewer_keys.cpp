// The keys of the viewer.

#include "src/viewer_keys.h"

#include <algorithm>

#include "graphics/event.h"

namespace tavrik {

namespace {

constexpr int debug_levels = 3;

void reset_pan(DisplayState& display) {
  display.horizontal_offset = 0;
  display.vertical_offset = 0;
}

void select(View& view, PlotKind plot) {
  reset_pan(view.display);
  view.plot = plot;
}

/// Keys that change how the current plot is drawn, or only have it drawn again; false for any
/// other.
bool change_view(int key, View& view, const Screen& screen) {
  DisplayState& display = view.display;
  const int shift = static_cast<int>(screen.n_records / 20);
  switch (key) {
    case '+':  // the help says that "+" increases div; it increases the picture: intended
      display.div = std::max(display.div - 1, 1);
      return true;
    case '-':
      display.div = std::min(display.div + 1, most_div);
      return true;
    case 'B':
    case 'b':
      display.center_time = !display.center_time;
      return true;
    case 'D':
    case 'd':
      view.debug = (view.debug + 1) % debug_levels;
      return true;
    case 'U':
    case 'u':
      view.print_ut = !view.print_ut;
      return true;
    case gr::key_home:
      reset_pan(display);
      display.time_shift = 0;
      display.div = 1;
      return true;
    case gr::key_page_up:
      move(display.time_shift, shift);
      return true;
    case gr::key_page_down:
      move(display.time_shift, -shift);
      return true;
    case gr::key_left:
      move(display.horizontal_offset, screen.width / 10);
      return true;
    case gr::key_right:
      move(display.horizontal_offset, -screen.width / 10);
      return true;
    case 'R':
    case 'r':
    case gr::key_up:
    case gr::key_down:
      return true;
    default:
      return false;
  }
}

/// Keys that choose the plot; false for any other.
bool choose_plot(int key, View& view) {
  switch (key) {
    case '1':
      select(view, PlotKind::result);
      return true;
    case '2':
      select(view, PlotKind::circular);
      return true;
    case '3':
      select(view, PlotKind::circular_velocity);
      return true;
    case 'P':
    case 'p':
      select(view, view.plot == PlotKind::result ? PlotKind::circular : PlotKind::result);
      return true;
    default:
      return false;
  }
}

}  // namespace

const std::array<const char*, 12> online_help = {
    "  Online Help                                                 ",
    "  ==========================================================  ",
    "  Enter      Display next file                                ",
    "  BackSpace  Display previous file                            ",
    "  Esc        Exit program                                     ",
    "  1          Select normal plot                               ",
    "  2          Select circular plot                             ",
    "  P          Toggle normal/circular plot                      ",
    "  +/-        Increase/decrease div in circular plot           ",
    "  U          Toggle time between minutes.secs and HHMM.SS ut  ",
    "  B          Toggle time between beginning and center         ",
    "  F/S        Save complete image as .png                      ",
};

void move(int& offset, int change) {
  constexpr int farthest = 1000000000;
  offset = std::clamp(offset + change, -farthest, farthest);
}

Action apply_key(int key, View& view, const Screen& screen) {
  if (change_view(key, view, screen) || choose_plot(key, view)) {
    return Action::redraw;
  }
  switch (key) {
    case gr::key_escape:
      return Action::end;
    case gr::key_backspace:
      return Action::previous_file;
    case '?':
    case 'H':
    case 'h':
    case gr::key_f1:
      return Action::help;
    case 'F':
    case 'f':
    case 'S':
    case 's':
      return Action::save;
    case save_and_exit_key:
      return Action::save_and_end;
    default:
      return Action::next_file;
  }
}

}  // namespace tavrik
