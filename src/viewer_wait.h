#pragma once
// Waiting for keys, and panning with the mouse meanwhile.

#include <functional>
#include <optional>
#include <string>

#include "graphics/event.h"

namespace tavrik {

/// A drag of the mouse within one wait.
struct Drag {
  std::optional<int> start;  ///< column where the button went down, or of the first motion
  int motions = 0;           ///< with the button down
};

/// Follows the mouse. On the third motion returns by how many columns the plot is to be panned:
/// twice the way from the start.
std::optional<int> follow_drag(Drag& drag, const gr::Event& event);

/// What the plot knows of a place on it, in pixels without the pan: a detail for the caption, empty
/// if there is nothing.
using TextAt = std::function<std::string(int x, int y)>;

/// Shows what was drawn, waits for a key and returns its code. Closing the window counts as Esc,
/// now and in every later wait. While the pointer moves, the caption tells of the place that it
/// shows; other mouse events are dropped.
int wait_for_key(const TextAt& text_at);

/// As wait_for_key; a drag of the mouse pans the display state and returns 'R'.
int wait_for_key_or_drag(const TextAt& text_at);

/// Shows the window, with nothing in it; not in a run that saves a picture and ends.
void show_empty_window();

/// Whether Esc was pressed or the window was closed since the last wait, so that a long analysis is
/// to end. Other keys stay for the next wait, but neither the repeats of one that was held down nor
/// the mouse's button.
bool end_was_asked();

}  // namespace tavrik
