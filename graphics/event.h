#pragma once
// Keys and the mouse: what the screen window hears, in the order it happened.

#include <chrono>
#include <deque>
#include <optional>

namespace gr {

// Key codes: characters of Latin 1 by their code, special keys by 256 and their scan code. No other
// special key is an event.
inline constexpr int key_backspace = 8;
inline constexpr int key_tab = 9;
inline constexpr int key_enter = 13;
inline constexpr int key_escape = 27;
inline constexpr int key_f1 = 315;
inline constexpr int key_home = 327;
inline constexpr int key_up = 328;
inline constexpr int key_page_up = 329;
inline constexpr int key_left = 331;
inline constexpr int key_right = 333;
inline constexpr int key_down = 336;
inline constexpr int key_page_down = 337;

enum class EventKind {
  key,
  left_press,   ///< the mouse's left button went down
  left_motion,  ///< the mouse was moved with its left button down
  pointer,      ///< it was moved without a button, or has left the canvas
  close,        ///< the window is to be closed
};

struct Event {
  EventKind kind = EventKind::key;
  int key = 0;            ///< of a key: its code
  bool repeated = false;  ///< of a key: it is being held down
  int x = 0;              ///< of the mouse: column of the canvas, within it
  int y = 0;              ///< of the pointer: row of the canvas; outside both are -1
};

using EventQueue = std::deque<Event>;

/// Puts an event after those that wait to be read.
void push_event(const Event& event);

/// Takes over what the window has heard, without waiting. Returns all that waits to be read.
const EventQueue& poll_events();

/// Takes the oldest event, waiting for one until a point of time; nothing when that has come. A
/// close stays: whoever reads next is told, too. On a memory canvas nobody can type: without a
/// pushed event the answer is a close at once.
std::optional<Event> read_event(std::chrono::steady_clock::time_point end);

/// Forgets what was heard to no purpose while nobody waited: the repeats of keys that were held
/// down, and the mouse's button.
void drop_idle_events();

}  // namespace gr
