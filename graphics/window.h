#pragma once
// The screen window: what its module offers, and the way to it. The module is a file of its own
// that is loaded when a window is asked for, so that a program which draws in memory, or nothing,
// needs neither the module nor the libraries of a desktop.

#include <string>

#include "graphics/canvas.h"
#include "graphics/event.h"

namespace gr {

/// The operations of a window's module. There is one window at a time.
struct WindowDriver {
  /// Opens a hidden window for a canvas of this size in pixels, in place of one that is open.
  /// Returns null, or the reason why there is no window.
  const char* (*open)(int width, int height);
  /// Name of the window system in use; null if no window is open.
  const char* (*name)();
  void (*set_title)(const char* title);
  /// Shows the window, with the canvas as it is now; it stays so until the next call.
  void (*present)(const Canvas& canvas, const Palette& palette);
  /// Appends what was heard, and repaints what was covered. With `wait` takes some milliseconds
  /// when there is nothing, so that a caller may ask again at once.
  void (*collect)(EventQueue& events, bool wait);
  void (*close)();
};

/// File name of the module, and of the function in it that returns its WindowDriver. The number
/// changes with the record above and with Event, so that a module of another version is not taken
/// for this one.
inline constexpr const char* window_module = "tavrik_window.so";
inline constexpr const char* window_entry = "tavrik_window_driver_2";
using WindowEntry = const WindowDriver*();

/// Loads the module from the program's own library folder. Null where it is not installed, or lacks
/// what it needs.
const WindowDriver* load_window_driver();

/// Shows what was drawn. Does nothing without a window.
void present();

/// Sets the caption of the window; bytes that are no UTF-8 are Latin 1, as in drawn text. Does
/// nothing without a window.
void set_window_title(const std::string& title);

}  // namespace gr
