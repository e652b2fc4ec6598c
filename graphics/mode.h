#pragma once
// The canvas that is open: choosing its driver, opening and ending it.

#include <string>

#include "graphics/canvas.h"
#include "graphics/event.h"

namespace gr {

struct WindowDriver;

/// The graphics layer's process-wide state.
struct Graphics {
  std::string driver;  ///< what was asked for; empty: the screen window
  bool open = false;   ///< a mode is set
  Canvas canvas;       ///< what the window shows, or the memory canvas
  Palette palette;
  const WindowDriver* window = nullptr;  ///< the screen window; null on a memory canvas
  EventQueue events;                     ///< heard, and not read yet
};

inline Graphics graphics;

/// Version of the graphics layer: major, minor and patch in a byte each.
inline constexpr unsigned library_version = 0x000100;

/// Kinds of mode for GrSetMode.
enum class ModeKind {
  default_graphics,             ///< the size in the driver's text
  width_height_color_graphics,  ///< the size given
};

/// Chooses the driver by a text such as "memory gw 800 gh 600 nc 256": a memory canvas of that
/// width, height and number of colours, each to be named once, in any order. An empty text chooses
/// the screen window. Leaves graphics. False, and nothing changed, for any other text and for one
/// that asks for no pixels or for more than largest_canvas.
bool set_driver(const std::string& description);

/// Opens the canvas, cleared to palette index 0, with an empty palette of 1 to 256 colours; the
/// screen window is hidden until something is presented on it. With default_graphics width, height
/// and colors are those of the driver's text, and the screen has no size. On failure prints
/// "GrSetMode: REASON" and a line end on the error stream and returns false; a memory canvas that
/// was open still is.
bool GrSetMode(ModeKind kind, int width = 0, int height = 0, int colors = 256);

/// Size of the screen or memory canvas in pixels; 0 when none is open.
int GrSizeX();
int GrSizeY();

/// The greatest x and y; -1 when no canvas is open.
int max_x();
int max_y();

/// Name of the driver in use: "memory", or the window system; empty when no canvas is open.
std::string video_driver_name();

/// Leaves graphics: the window is closed, no canvas is open, the driver stays chosen.
void set_text_mode();

}  // namespace gr
