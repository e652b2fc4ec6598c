#pragma once
// Text on a canvas: its options, its extents, and drawing at an aligned place.

#include <memory>
#include <string>
#include <string_view>

#include "graphics/canvas.h"
#include "graphics/font.h"

namespace gr {

/// Where the text runs to. The letters are turned with it: text that runs left is upside down.
enum class TextDirection { right, down, left, up };
enum class HorizontalAlign { left, center, right };
enum class VerticalAlign { top, middle, bottom };

/// How text is drawn. The ground is transparent.
struct TextOption {
  std::shared_ptr<const Font> font;  ///< must be set
  Color color = 0;
  TextDirection direction = TextDirection::right;
  HorizontalAlign horizontal = HorizontalAlign::left;
  VerticalAlign vertical = VerticalAlign::top;
};

/// Extents of a text in pixels; width and height change places for a vertical direction. Text is
/// UTF-8 and counted in characters. Each byte that is no UTF-8 counts as a character of Latin 1, so
/// that names of old files can be read; characters that the font lacks are drawn as "?".
int string_width(std::string_view text, const TextOption& option);
int string_height(std::string_view text, const TextOption& option);

/// The text as UTF-8 throughout: a byte that is none becomes a character of Latin 1.
std::string to_utf8(std::string_view text);

/// Draws a text so that its box lies at the user coordinates x, y as the alignments say: x is the
/// box's first column (left), its last one (right) or has half of the width to its left (center);
/// rows likewise. The text keeps its size under a scale.
void draw_text(Canvas& canvas, int x, int y, std::string_view text, const TextOption& option);

}  // namespace gr
