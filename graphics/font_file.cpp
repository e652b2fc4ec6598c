// Reading of font files with FreeType.

#include "graphics/font_file.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <ft2build.h>
#include <system_error>
#include FT_FREETYPE_H

namespace gr {

namespace {

constexpr int highest_font = 1000;

/// FreeType's numbers of pixels are multiples of 1/64.
constexpr int to_pixels(FT_Pos length) {
  return static_cast<int>((length + 32) >> 6);
}

/// An opened font file.
class Face {
 public:
  explicit Face(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
      return;  // opening a pipe would wait for a writer
    }
    if (FT_Init_FreeType(&library_) != 0) {
      library_ = nullptr;
    } else if (FT_New_Face(library_, path.c_str(), 0, &face_) != 0) {
      face_ = nullptr;
    }
  }

  Face(const Face&) = delete;
  Face& operator=(const Face&) = delete;

  ~Face() {
    if (face_ != nullptr) {
      FT_Done_Face(face_);
    }
    if (library_ != nullptr) {
      FT_Done_FreeType(library_);
    }
  }

  FT_Face get() const { return face_; }

 private:
  FT_Library library_ = nullptr;
  FT_Face face_ = nullptr;
};

/// Chooses the size whose height is nearest to the given one.
bool choose_size(FT_Face face, int height) {
  if (FT_IS_SCALABLE(face)) {
    FT_Size_RequestRec request = {FT_SIZE_REQUEST_TYPE_REAL_DIM, 0, FT_Long{height} << 6, 0, 0};
    return FT_Request_Size(face, &request) == 0;
  }
  int best = -1;
  for (int i = 0; i < face->num_fixed_sizes; ++i) {
    const auto distance = [&](int size) {
      return std::abs(face->available_sizes[size].height - height);
    };
    if (best < 0 || distance(i) < distance(best)) {
      best = i;
    }
  }
  return best >= 0 && FT_Select_Size(face, best) == 0;
}

/// Copies a rendered character into a cell; what is outside is cut off.
void copy_bits(const FT_GlyphSlot slot, int left, int baseline, int height, Glyph& glyph) {
  const FT_Bitmap& bitmap = slot->bitmap;
  for (int row = 0; row < static_cast<int>(bitmap.rows); ++row) {
    const int y = baseline - slot->bitmap_top + row;
    const unsigned char* bits = bitmap.buffer + std::ptrdiff_t{row} * bitmap.pitch;
    for (int column = 0; column < static_cast<int>(bitmap.width); ++column) {
      const int x = left + column;
      const bool set = (bits[column / 8] >> (7 - column % 8) & 1) != 0;
      if (set && x >= 0 && x < glyph.width && y >= 0 && y < height) {
        glyph.bits[glyph.byte_of(x, y)] |= static_cast<std::uint8_t>(0x80 >> x % 8);
      }
    }
  }
}

/// Renders one character. The glyph is empty if the font lacks it.
Glyph read_glyph(FT_Face face, unsigned character, int baseline, int height) {
  Glyph glyph;
  const FT_UInt index = FT_Get_Char_Index(face, character);
  if (index == 0 || FT_Load_Glyph(face, index, FT_LOAD_RENDER | FT_LOAD_TARGET_MONO) != 0 ||
      face->glyph->bitmap.pixel_mode != FT_PIXEL_MODE_MONO) {
    return glyph;
  }
  const FT_GlyphSlot slot = face->glyph;
  int left = slot->bitmap_left;
  int width = to_pixels(slot->advance.x);
  if (!FT_IS_FIXED_WIDTH(face)) {  // make room for what hangs over
    left = std::max(left, 0);
    width = std::max(width, left + static_cast<int>(slot->bitmap.width));
  }
  if (width <= 0 || width > 2 * highest_font) {
    return glyph;
  }
  glyph.width = width;
  glyph.bits.resize(glyph.row_bytes() * static_cast<std::size_t>(height));
  copy_bits(slot, left, baseline, height, glyph);
  return glyph;
}

/// The width that all glyphs share; 0 if they do not.
int common_width(const std::vector<Glyph>& glyphs) {
  int common = 0;
  for (const Glyph& glyph : glyphs) {
    if (common > 0 && glyph.width > 0 && glyph.width != common) {
      return 0;
    }
    common = std::max(common, glyph.width);
  }
  return common;
}

}  // namespace

std::optional<Font> read_font_file(const std::string& path, int height) {
  const Face opened(path);
  FT_Face face = opened.get();
  if (face == nullptr || height < 1 || height > highest_font || !choose_size(face, height)) {
    return {};
  }
  // Without a table of Unicode numbers, those of ASCII are those of the font, the others unknown.
  const bool is_unicode = face->charmap != nullptr;
  if (!is_unicode && (face->num_charmaps == 0 || FT_Set_Charmap(face, face->charmaps[0]) != 0)) {
    return {};
  }
  const FT_Size_Metrics& metrics = face->size->metrics;
  const int own_height = to_pixels(metrics.ascender - metrics.descender);
  Font font;
  font.name = path;
  font.height = FT_IS_SCALABLE(face) ? height : std::clamp(own_height, 1, highest_font);
  font.glyphs.resize(256);
  for (unsigned character = 0; character < (is_unicode ? 0x100 : 0x80); ++character) {
    if (is_printable(character)) {
      font.glyphs[character] =
          read_glyph(face, character, to_pixels(metrics.ascender), font.height);
    }
  }
  font.fixed_width = common_width(font.glyphs);
  if (font.glyphs['?'].bits.empty()) {
    return {};
  }
  return font;
}

}  // namespace gr
