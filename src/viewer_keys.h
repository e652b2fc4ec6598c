#pragma once
// What a key changes, and what the user is told about it. Without drawing or waiting, so that tests
// can press every key.

#include <array>
#include <cstddef>

#include "src/display_state.h"
#include "src/settings.h"

namespace tavrik {

/// The viewer's keys, 62 characters a row: its help screen, and a part of the usage text.
extern const std::array<const char*, 12> online_help;

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

/// Adds a change to a pan or the time shift. change: at most 1e9 either way. The sum stays within
/// 1e9 either way, which is farther than any plot is wide.
void move(int& offset, int change);

/// Changes the view as the key says and returns what is to be done.
Action apply_key(int key, View& view, const Screen& screen);

}  // namespace tavrik
