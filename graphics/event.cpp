// The queue of events.

#include "graphics/event.h"

#include "graphics/mode.h"
#include "graphics/window.h"

namespace gr {

void push_event(const Event& event) {
  graphics.events.push_back(event);
}

const EventQueue& poll_events() {
  if (graphics.window != nullptr) {
    graphics.window->collect(graphics.events, false);
  }
  return graphics.events;
}

std::optional<Event> read_event(std::chrono::steady_clock::time_point end) {
  while (graphics.events.empty()) {
    if (graphics.window == nullptr) {
      return Event{.kind = EventKind::close};
    }
    if (std::chrono::steady_clock::now() >= end) {
      return {};
    }
    graphics.window->collect(graphics.events, true);
  }
  const Event event = graphics.events.front();
  if (event.kind != EventKind::close) {
    graphics.events.pop_front();
  }
  return event;
}

void drop_idle_events() {
  std::erase_if(graphics.events, [](const Event& event) {
    return event.repeated || event.kind == EventKind::left_press ||
           event.kind == EventKind::left_motion;
  });
}

}  // namespace gr
