// The viewer's waits.

#include "src/viewer_wait.h"

#include <algorithm>

#include "graphics/draw.h"
#include "graphics/window.h"

#include "src/caption.h"
#include "src/display_state.h"
#include "src/plot_surface.h"
#include "src/settings.h"
#include "src/viewer_keys.h"

namespace tavrik {

namespace {

/// The code of a key; of a close that of Esc; none of the mouse.
std::optional<int> key_of(const gr::Event& event) {
  switch (event.kind) {
    case gr::EventKind::key:
      return event.key;
    case gr::EventKind::close:
      return gr::key_escape;
    default:
      return {};
  }
}

/// The next event. Meanwhile the caption's note comes to its end.
gr::Event next_event() {
  for (;;) {
    if (const auto event = gr::read_event(note_end())) {
      return *event;
    }
    end_note();
  }
}

}  // namespace

std::optional<int> follow_drag(Drag& drag, const gr::Event& event) {
  constexpr int motions_to_pan = 3;
  if (event.kind == gr::EventKind::left_press) {
    drag.start = event.x;
  } else if (event.kind == gr::EventKind::left_motion) {
    drag.start = drag.start.value_or(event.x);
    if (++drag.motions == motions_to_pan) {
      return 2 * (event.x - *drag.start);
    }
  }
  return {};
}

int wait_for_key() {
  gr::present();
  for (;;) {
    if (const auto key = key_of(next_event())) {
      return *key;
    }
  }
}

int wait_for_key_or_drag() {
  gr::present();
  Drag drag;
  for (;;) {
    const gr::Event event = next_event();
    if (const auto key = key_of(event)) {
      return *key;
    }
    if (const auto pan = follow_drag(drag, event)) {
      move(display_state.horizontal_offset, *pan);
      return 'R';
    }
  }
}

void show_empty_window() {
  if (settings.save_and_exit == 0) {
    gr::clear_screen(plot_surface.background);
    gr::present();
  }
}

bool end_was_asked() {
  const gr::EventQueue& events = gr::poll_events();
  gr::drop_repeated_keys();
  return std::any_of(events.begin(), events.end(),
                     [](const gr::Event& event) { return key_of(event) == gr::key_escape; });
}

}  // namespace tavrik
