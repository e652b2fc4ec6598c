// Drawing on the canvas that is open.

#include "graphics/draw.h"

#include "graphics/mode.h"

namespace gr {

Color allocate_color(int red, int green, int blue) {
  return allocate_color(graphics.palette, red, green, blue);
}

void clear_screen(Color color) {
  clear(graphics.canvas, color);
}

void set_user_window(int x1, int y1, int x2, int y2) {
  set_user_window(graphics.canvas, x1, y1, x2, y2);
}

void plot_pixel(int x, int y, Color color) {
  plot_pixel(graphics.canvas, x, y, color);
}

void line(int x1, int y1, int x2, int y2, Color color) {
  line(graphics.canvas, x1, y1, x2, y2, color);
}

void custom_line(int x1, int y1, int x2, int y2, const LineOption& option) {
  custom_line(graphics.canvas, x1, y1, x2, y2, option);
}

void box(int x1, int y1, int x2, int y2, Color color) {
  box(graphics.canvas, x1, y1, x2, y2, color);
}

void filled_box(int x1, int y1, int x2, int y2, Color color) {
  filled_box(graphics.canvas, x1, y1, x2, y2, color);
}

void circle(int x, int y, int radius, Color color) {
  circle(graphics.canvas, x, y, radius, color);
}

void draw_text(int x, int y, std::string_view text, const TextOption& option) {
  draw_text(graphics.canvas, x, y, text, option);
}

void bit_blit(Canvas& target, int x, int y, int x1, int y1, int x2, int y2) {
  bit_blit(target, x, y, graphics.canvas, x1, y1, x2, y2);
}

void TextStream::move_to(int x, int y) {
  x_ = x;
  y_ = y;
}

void TextStream::flush() {
  draw_text(x_, y_, text_, option_);
  x_ = to_coordinate(static_cast<double>(x_) + string_width(text_, option_));
  text_.clear();
}

}  // namespace gr
