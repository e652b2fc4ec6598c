// Drawing, and waiting for a key.

#include "src/plot_routines.h"

#include "src/circular_plot.h"
#include "src/display_state.h"
#include "src/result_plot.h"
#include "src/settings.h"
#include "src/viewer_wait.h"

namespace tavrik {

namespace {

void set_default_title(const std::string& name) {
  if (settings.title.empty()) {
    settings.title = name;
  }
}

int show_circular_plot(const std::string& name, const ResultSeries& series, int save,
                       DotRadius radius) {
  set_default_title(name);
  draw_circular_plot(series, settings, display_state, radius);
  return save != 0 ? save : wait_for_key();
}

}  // namespace

int result_plot(const std::string& name, const ResultSeries& series, int save) {
  set_default_title(name);
  draw_result_plot(series, settings, display_state, BeyondEdge::nothing);
  return save != 0 ? save : wait_for_key_or_drag();
}

int circular_plot(const std::string& name, const ResultSeries& series, int save) {
  return show_circular_plot(name, series, save, DotRadius::window_number);
}

int circular_velocity_plot(const std::string& name, const ResultSeries& series, int save) {
  return show_circular_plot(name, series, save, DotRadius::velocity);
}

}  // namespace tavrik
