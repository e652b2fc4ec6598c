// Drawing, and waiting for a key.

#include "src/plot_routines.h"

#include "src/caption.h"
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

/// A detail on a window, at the time that the plot's axis has for it; empty without one.
std::string detail(const ResultRecord* record, const ResultSeries& series) {
  const double step = settings.cstep / series.sampling_frequency;
  return record == nullptr ? "" : describe(*record, display_state.center_time ? step / 2 : 0);
}

int show_circular_plot(const std::string& name, const ResultSeries& series, int save,
                       DotRadius radius) {
  set_default_title(name);
  draw_circular_plot(series, settings, display_state, radius);
  const auto text_at = [&series, radius](int x, int y) {
    return detail(nearest_dot(series.records, display_state, radius, x, y), series);
  };
  return save != 0 ? save : wait_for_key(text_at);
}

}  // namespace

int result_plot(const std::string& name, const ResultSeries& series, int save) {
  set_default_title(name);
  const Panels panels = draw_result_plot(series, settings, display_state, BeyondEdge::nothing);
  const auto text_at = [&series, &panels](int x, int y) {
    return detail(record_at(panels, series.records, x, y), series);
  };
  return save != 0 ? save : wait_for_key_or_drag(text_at);
}

int circular_plot(const std::string& name, const ResultSeries& series, int save) {
  return show_circular_plot(name, series, save, DotRadius::window_number);
}

int circular_velocity_plot(const std::string& name, const ResultSeries& series, int save) {
  return show_circular_plot(name, series, save, DotRadius::velocity);
}

}  // namespace tavrik
