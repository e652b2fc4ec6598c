#pragma once
// Text on the current surface: one option record, extents, aligned drawing, a stream.

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "graphics/canvas.h"
#include "graphics/font.h"

namespace gr {

/// Where the text runs to; what is its top turns with it.
enum class Direction { right, down, left, up };
enum class HorizontalAlign { left, center, right };
enum class VerticalAlign { top, middle, bottom };

/// How text is drawn. The ground is transparent.
struct TextOption {
  std::shared_ptr<const Font> font;  ///< must be set
  Color color = 0;
  Direction direction = Direction::right;
  HorizontalAlign horizontal = HorizontalAlign::left;
  VerticalAlign vertical = VerticalAlign::top;
};

/// Extents of a text in pixels; width and height change places for a vertical direction. Text is
/// UTF-8 and counted in characters. Each byte that is no UTF-8 counts as a character of Latin 1, so
/// that names of old files can be read; characters that the font lacks are drawn as "?".
int string_width(std::string_view text, const TextOption& option);
int string_height(std::string_view text, const TextOption& option);

/// Draws a text so that its box lies at the user coordinates x, y as the alignments say: x is the
/// box's first column (left), its last one (right) or has half of the width to its left (center);
/// rows likewise. The text keeps its size under a scale.
void draw_text(int x, int y, std::string_view text, const TextOption& option);

/// Text that is written piece by piece.
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

  int x() const { return x_; }

  int y() const { return y_; }

 private:
  TextOption option_;
  std::string text_;
  int x_ = 0;
  int y_ = 0;
};

}  // namespace gr
