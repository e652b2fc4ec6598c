#pragma once
// The drawing calls of a program: each does on the canvas that is open what its namesake in
// raster.h or text.h does on any canvas. Coordinates and clipping are described there.

#include <string>
#include <string_view>
#include <utility>

#include "graphics/raster.h"
#include "graphics/text.h"

namespace gr {

/// The index of a colour in the palette that is in use.
Color allocate_color(int red, int green, int blue);

void clear_screen(Color color);
void set_user_window(int x1, int y1, int x2, int y2);

void plot_pixel(int x, int y, Color color);
void line(int x1, int y1, int x2, int y2, Color color);
void custom_line(int x1, int y1, int x2, int y2, const LineOption& option);
void box(int x1, int y1, int x2, int y2, Color color);
void filled_box(int x1, int y1, int x2, int y2, Color color);
void circle(int x, int y, int radius, Color color);
void draw_text(int x, int y, std::string_view text, const TextOption& option);

/// Copies an area of the open canvas to another one.
void bit_blit(Canvas& target, int x, int y, int x1, int y1, int x2, int y2);

/// Text that is written piece by piece. The option must have a font.
class TextStream {
 public:
  explicit TextStream(TextOption option) : option_(std::move(option)) {}

  /// Sets where the next text is drawn.
  void move_to(int x, int y);

  TextStream& operator<<(std::string_view text) {
    text_ += text;
    return *this;
  }

  /// Draws what was written and moves the position on by its width.
  void flush();

 private:
  TextOption option_;
  std::string text_;
  int x_ = 0;
  int y_ = 0;
};

}  // namespace gr
