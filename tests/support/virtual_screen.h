#pragma once
// A virtual X server of a test's own, and on it the hands and eyes of a user of one window.

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "graphics/png.h"

struct _XDisplay;  // Xlib's name of its Display. NOLINT(bugprone-reserved-identifier)

namespace support {

/// Pixels as they are on a screen, 0xRRGGBB, row by row.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;

  bool operator==(const Image&) const = default;
};

/// A picture in its colors.
Image to_image(const gr::Picture& picture);

class VirtualScreen {
 public:
  static constexpr int width = 1800;
  static constexpr int height = 1300;

  /// Starts the server, and makes it the one that programs of this process start on.
  VirtualScreen();
  VirtualScreen(const VirtualScreen&) = delete;
  VirtualScreen& operator=(const VirtualScreen&) = delete;
  ~VirtualScreen();

  /// Waits until a window with this caption can be seen, which then is the one that is used.
  /// Returns false after some seconds without one.
  bool wait_for_window(const std::string& title);

  /// The caption of the window; empty when it is gone.
  std::string title() const;

  /// Whether any window could ever be seen.
  bool has_shown_a_window() const;

  /// Presses and releases a key, by its name: "a", "plus", "Page_Up", "KP_4"; with Shift where the
  /// keyboard has it there.
  void type(const std::string& key) const;

  /// Holds a key down while another is typed.
  void type_with(const std::string& held, const std::string& key) const;

  /// Presses the left button at the first of these columns of the window, moves through the others
  /// and releases it.
  void drag(const std::vector<int>& columns) const;

  /// What the user does with the window's frame.
  void close_window() const;
  void resize_window(int columns, int rows) const;

  /// Hides the window behind another, and takes that away again.
  void cover_window() const;

  /// What the window shows.
  Image image() const;

  /// Waits until the window shows this. Returns false after some seconds, and writes what it shows
  /// into the build folder.
  bool wait_for_image(const Image& expected) const;

 private:
  bool find_window(const std::string& title);
  void press(unsigned long keysym, bool down) const;

  pid_t server_ = -1;
  _XDisplay* display_ = nullptr;
  unsigned long window_ = 0;
};

}  // namespace support
