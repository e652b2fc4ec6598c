#pragma once
// Starting and ending of graphics, and what all plots draw with: colours, font, text option.

#include <array>
#include <string>

#include "graphics/canvas.h"
#include "graphics/text.h"

#include "src/display_state.h"

namespace tavrik {

/// Where the result plot's panels are, in pixels, and the font if the user names none.
struct PanelLayout {
  int top_margin;
  int azimuth_height;
  int velocity_height;
  const char* font;
};

/// The layout of a graphics mode, 0..7; mode 7 has no panels of its own. Throws std::out_of_range
/// for any other mode.
const PanelLayout& panel_layout(int graphics_mode);

/// What the plots draw with. Colours are allocated when graphics starts.
struct PlotSurface {
  gr::Color background = gr::unallocated;  ///< white
  gr::Color foreground = gr::unallocated;  ///< black
  std::array<gr::Color, 16> ega{};         ///< the standard 16 colours
  gr::TextOption text;                     ///< font, colour and alignments of the next label
};

inline PlotSurface plot_surface;

/// Numbers of the EGA colours in use.
inline constexpr std::size_t ega_black = 0;
inline constexpr std::size_t ega_blue = 1;
inline constexpr std::size_t ega_green = 2;
inline constexpr std::size_t ega_red = 4;
inline constexpr std::size_t ega_white = 15;

/// Rows of every saved picture.
inline constexpr int picture_height = 600;

/// Most columns of a saved picture: with its rows 180 MB.
inline constexpr int widest_picture = 300000;

/// Starts graphics on the memory canvas or the screen, as the settings say, and loads the font that
/// the environment variable ZENVUE_FONT names; no result may overwrite its file. Mode 0 starts
/// nothing. A screen that can't be opened ends the program with status 1.
void graphics_init(int graphics_mode);

/// Opens a memory canvas of another width, above 0, in place of the one in use, whose drawing is
/// lost: its memory is given back first. Throws std::bad_alloc.
void resize_memory_canvas(int width);

/// Ends graphics.
void graphics_end(int graphics_mode);

/// Draws a label with the shared text option at x, y. The alignments stay in the option. Graphics
/// must have been started.
void draw_label(int x, int y, const std::string& text, gr::HorizontalAlign horizontal,
                gr::VerticalAlign vertical);

/// Begins a plot: clears the canvas and sets the user window by the pan offsets of a display state.
void begin_drawing(const DisplayState& state);

}  // namespace tavrik
