#pragma once
// Bitmap fonts: four built in, others from files.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace gr {

/// One character's picture: rows of one byte for each eight pixels, most significant bit left.
struct Glyph {
  int width = 0;  ///< pixels, up to the next character
  std::vector<std::uint8_t> bits;

  std::size_t row_bytes() const { return (static_cast<std::size_t>(width) + 7) / 8; }

  /// Where in `bits` a pixel is.
  std::size_t byte_of(int x, int y) const {
    return static_cast<std::size_t>(y) * row_bytes() + static_cast<std::size_t>(x) / 8;
  }
};

/// A font. Characters are the printable ones of Latin 1 by their Unicode numbers.
struct Font {
  std::string name;
  int height = 0;             ///< pixels of every glyph
  int fixed_width = 0;        ///< pixels of every glyph; 0 for a proportional font
  std::vector<Glyph> glyphs;  ///< 256; an empty one is drawn as "?"
};

/// A built-in font: "pc6x8", "pc8x8", "pc8x14" or "pc8x16". Null for another name.
std::shared_ptr<const Font> default_font(const std::string& name);

/// A built-in font by its name, or a font from a regular file (PCF, BDF, TrueType, OpenType). A
/// scalable one is rendered in one bit at the given height in pixels, 1..1000, from the highest
/// ascender to the lowest descender; of the sizes of another one the nearest is taken. Null if
/// there is no such font, or if it has no "?".
std::shared_ptr<const Font> load_font(const std::string& name, int height);

}  // namespace gr
