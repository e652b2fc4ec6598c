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

/// Has the caption tell of the place that the pointer shows.
void show_place(const gr::Event& pointer, const TextAt& text_at) {
  const bool inside = pointer.x >= 0;
  show_detail(inside ? text_at(pointer.x - display_state.horizontal_offset,
                               pointer.y + display_state.vertical_offset)
                     : "");
}

/// The next event that is not about the pointer. Meanwhile the caption follows that, and a note in
/// it comes to its end.
gr::Event next_event(const TextAt& text_at) {
  for (;;) {
    const auto event = gr::read_event(note_end());
    if (!event) {
      end_note();
    } else if (event->kind != gr::EventKind::pointer) {
      return *event;
    } else {
      show_place(*event, text_at);
    }
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

int wait_for_key(const TextAt& text_at) {
  gr::present();
  for (;;) {
    if (const auto key = key_of(next_event(text_at))) {
      return *key;
    }
  }
}

int wait_for_key_or_drag(const TextAt& text_at) {
  gr::present();
  Drag drag;
  for (;;) {
    const gr::Event event = next_event(text_at);
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
  gr::drop_idle_events();
  return std::any_of(events.begin(), events.end(),
                     [](const gr::Event& event) { return key_of(event) == gr::key_escape; });
}

}  // namespace tavrik
