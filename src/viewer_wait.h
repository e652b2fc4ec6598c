#pragma once
// Waiting for keys, and panning with the mouse meanwhile.

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

/// Shows what was drawn, waits for a key and returns its code. Closing the window is Esc, and stays
/// so for every later wait. Mouse events are dropped.
int wait_for_key();

/// As wait_for_key; a drag of the mouse pans the display state and returns 'R'.
int wait_for_key_or_drag();

/// Whether Esc was pressed or the window closed since the last wait: a long analysis is to end. Of
/// the other keys those that were pressed are kept, those that were only held down are forgotten.
bool end_was_asked();

/// Names a file in the caption of the window, except in a run that saves a picture and ends.
void show_title(const std::string& file);

}  // namespace tavrik
