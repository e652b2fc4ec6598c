// Measuring and drawing of text.

#include "graphics/text.h"

#include <algorithm>
#include <limits>

#include "graphics/raster.h"

namespace gr {

namespace {

/// A character that no font has.
constexpr std::uint32_t not_latin = 0x100;

std::size_t sequence_length(unsigned char lead) {
  return lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
}

/// Whether a text begins with a UTF-8 sequence of more than one byte, and not with one that is
/// longer than needed, a surrogate or greater than any Unicode number: first and second byte tell.
bool begins_with_sequence(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  const std::size_t length = sequence_length(lead);
  if (lead < 0xc2 || lead > 0xf4 || text.size() < length) {
    return false;
  }
  const unsigned char second = byte(1);
  if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second > 0x9f) ||
      (lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second > 0x8f)) {
    return false;
  }
  return std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length),
                     [](char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; });
}

/// Takes the first character off a text.
std::uint32_t take_character(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80 || !begins_with_sequence(text)) {
    text.remove_prefix(1);
    return lead;
  }
  const std::size_t length = sequence_length(lead);
  const std::uint32_t latin = (lead & 0x1fU) << 6 | (static_cast<unsigned char>(text[1]) & 0x3fU);
  text.remove_prefix(length);
  return length == 2 ? latin : not_latin;
}

const Glyph& glyph_of(const Font& font, std::uint32_t character) {
  const bool has = character < font.glyphs.size() && !font.glyphs[character].bits.empty();
  return font.glyphs.at(has ? character : '?');
}

bool is_set(const Glyph& glyph, int x, int y) {
  return (glyph.bits[glyph.byte_of(x, y)] >> (7 - x % 8) & 1) != 0;
}

/// Pixels along a text.
std::int64_t length_of(std::string_view text, const Font& font) {
  std::int64_t length = 0;
  while (!text.empty()) {
    const std::uint32_t character = take_character(text);
    length += font.fixed_width > 0 ? font.fixed_width : glyph_of(font, character).width;
  }
  return std::min<std::int64_t>(length, std::numeric_limits<int>::max());
}

bool is_vertical(TextDirection direction) {
  return direction == TextDirection::down || direction == TextDirection::up;
}

/// A text's rectangle on a canvas and the way from places in the text to pixels.
struct TextBox {
  Pixel corner;  ///< top left
  TextDirection direction;
  std::int64_t length, height;  ///< along the text and across it

  /// The pixel that is u pixels along the text and v pixels below its top.
  Pixel at(std::int64_t u, std::int64_t v) const {
    switch (direction) {
      case TextDirection::down:
        return {corner.x + height - 1 - v, corner.y + u};
      case TextDirection::left:
        return {corner.x + length - 1 - u, corner.y + height - 1 - v};
      case TextDirection::up:
        return {corner.x + v, corner.y + length - 1 - u};
      default:
        return {corner.x + u, corner.y + v};
    }
  }
};

/// How far a box begins before its place: 0 for the first alignment, half of its size for the
/// second, all but its last pixel for the third.
std::int64_t before_place(int alignment, std::int64_t size) {
  return alignment == 0 ? 0 : alignment == 1 ? size / 2 : size - 1;
}

TextBox place_text(const Pixel& place, std::string_view text, const TextOption& option) {
  const std::int64_t length = length_of(text, *option.font);
  const std::int64_t height = option.font->height;
  const bool vertical = is_vertical(option.direction);
  const std::int64_t width = vertical ? height : length;
  const std::int64_t rows = vertical ? length : height;
  return {{place.x - before_place(static_cast<int>(option.horizontal), width),
           place.y - before_place(static_cast<int>(option.vertical), rows)},
          option.direction,
          length,
          height};
}

/// Places along a text from which on something can be seen.
Span visible_part(const TextBox& box, const Canvas& canvas) {
  const Pixel start = box.at(0, 0);
  const Pixel next = box.at(1, 0);
  return is_vertical(box.direction)
             ? steps_inside(start.y, static_cast<int>(next.y - start.y), canvas.height)
             : steps_inside(start.x, static_cast<int>(next.x - start.x), canvas.width);
}

void draw_glyph(Canvas& canvas, const Glyph& glyph, const TextBox& box, std::int64_t start,
                Color color) {
  for (int v = 0; v < box.height; ++v) {
    for (int u = 0; u < glyph.width; ++u) {
      if (is_set(glyph, u, v)) {
        set_pixel_clipped(canvas, box.at(start + u, v), color);
      }
    }
  }
}

}  // namespace

int string_width(std::string_view text, const TextOption& option) {
  return is_vertical(option.direction) ? option.font->height
                                       : static_cast<int>(length_of(text, *option.font));
}

std::string to_utf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead >= 0x80 && !begins_with_sequence(text)) {
      result += static_cast<char>(0xc0 | lead >> 6);
      result += static_cast<char>(0x80 | (lead & 0x3f));
      text.remove_prefix(1);
    } else {
      const std::size_t length = lead < 0x80 ? 1 : sequence_length(lead);
      result += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return result;
}

int string_height(std::string_view text, const TextOption& option) {
  return is_vertical(option.direction) ? static_cast<int>(length_of(text, *option.font))
                                       : option.font->height;
}

void draw_text(Canvas& canvas, int x, int y, std::string_view text, const TextOption& option) {
  const TextBox box = place_text(to_pixel(canvas, x, y), text, option);
  const Span visible = visible_part(box, canvas);
  std::int64_t start = 0;
  while (!text.empty() && start <= visible.last) {
    const Glyph& glyph = glyph_of(*option.font, take_character(text));
    if (start + glyph.width > visible.first) {
      draw_glyph(canvas, glyph, box, start, option.color);
    }
    start += glyph.width;
  }
}

}  // namespace gr
