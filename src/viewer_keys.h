#pragma once
// What a key changes. Without drawing or waiting, so that tests can press every key.

#include <cstddef>

#include "src/display_state.h"
#include "src/settings.h"

namespace tavrik {

// Key codes: characters by their code, special keys by 256 and their scan code.
inline constexpr int key_backspace = 8;
inline constexpr int key_escape = 27;
inline constexpr int key_f1 = 315;
inline constexpr int key_home = 327;
inline constexpr int key_up = 328;
inline constexpr int key_page_up = 329;
inline constexpr int key_left = 331;
inline constexpr int key_right = 333;
inline constexpr int key_down = 336;
inline constexpr int key_page_down = 337;

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

/// Changes the view as the key says and returns what is to be done.
Action apply_key(int key, View& view, const Screen& screen);

}  // namespace tavrik
