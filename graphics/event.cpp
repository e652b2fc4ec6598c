// The queue of events.

#include "graphics/event.h"

#include "graphics/mode.h"
#include "graphics/window.h"

namespace gr {

void push_event(const Event& event) {
  surface.events.push_back(event);
}

const EventQueue& poll_events() {
  if (surface.window != nullptr) {
    surface.window->collect(surface.events, false);
  }
  return surface.events;
}

Event read_event() {
  while (surface.events.empty()) {
    if (surface.window == nullptr) {
      return {.kind = EventKind::close};
    }
    surface.window->collect(surface.events, true);
  }
  const Event event = surface.events.front();
  if (event.kind != EventKind::close) {
    surface.events.pop_front();
  }
  return event;
}

void drop_repeated_keys() {
  std::erase_if(surface.events, [](const Event& event) { return event.repeated; });
}

}  // namespace gr
