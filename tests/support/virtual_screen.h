#pragma once
// A virtual X server of a test's own, and on it the hands and eyes of a user of one window.

#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/pictures.h"

struct _XDisplay;  // Xlib's name of its Display. NOLINT(bugprone-reserved-identifier)

namespace support {

class VirtualScreen {
 public:
  /// Starts the server, and makes it the one that programs of this process start on.
  VirtualScreen();
  VirtualScreen(const VirtualScreen&) = delete;
  VirtualScreen& operator=(const VirtualScreen&) = delete;
  ~VirtualScreen();

  /// Waits until a window with this caption, or one that begins so where this ends in "*", can be
  /// seen, which then is the one that is used.
  /// Returns false after a minute without one.
  bool wait_for_window(const std::string& title);

  /// Whether any window could ever be seen.
  bool has_shown_a_window() const;

  /// Presses and releases a key, by its name: "a", "plus", "Page_Up", "KP_4"; with Shift where the
  /// keyboard has it there, or while another key is held.
  void type(const std::string& key, const std::string& held = "") const;

  /// Moves the mouse to a place in the window.
  void point(int x, int y) const;

  /// Presses the left button where the mouse is, moves it by these columns one after the other and
  /// releases the button.
  void drag(const std::vector<int>& ways) const;

  /// What the user does with the window's frame.
  void close_window() const;
  void resize_window(int columns, int rows) const;

  /// Hides the window behind another, and takes that away again.
  void cover_window() const;

  /// Waits until the window shows this. Returns false after a minute, and fails the test.
  bool wait_for_image(const Image& expected) const;

 private:
  void press(unsigned code, bool down) const;
  Image image() const;

  std::FILE* server_;
  _XDisplay* display_;
  unsigned long window_ = 0;
};

}  // namespace support
