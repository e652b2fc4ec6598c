#pragma once
// What a key changes. Without drawing or waiting, so that tests can press every key.

#include <cstddef>

#include "src/display_state.h"
#include "src/settings.h"

namespace tavrik {

/// Greatest divisor of the circular plots.
inline constexpr int most_div = 100;

/// Everything that a key may change in the view.
struct View {
  DisplayState display;
  PlotKind plot = PlotKind::result;
  bool print_ut = true;
  int debug = 0;

  bool operator==(const View&) const = default;
};

/// What the viewer has to do after a key.
enum class Action { redraw, help, save, save_and_end, next_file, previous_file, end };

/// What is on the screen.
struct Screen {
  std::size_t n_records;
  int width;  ///< pixels
};

/// Moves a pan or the time shift by at most 1e9; it ends at 1e9 to either side, farther than any
/// plot is wide.
void move(int& offset, int change);

/// Changes the view as the key says and returns what is to be done.
Action apply_key(int key, View& view, const Screen& screen);

}  // namespace tavrik
