// Fonts by name.

#include "graphics/font.h"

#include <utility>

#include "graphics/builtin_fonts.h"
#include "graphics/font_file.h"

namespace gr {

namespace {

Font unpack(const BuiltinFont& builtin) {
  Font font{builtin.name, builtin.height, builtin.width, {}};
  font.glyphs.resize(256);
  auto row = builtin.rows.begin();
  for (unsigned character = 0; character < 256; ++character) {
    if (is_printable(character)) {
      font.glyphs[character] = {builtin.width, {row, row + builtin.height}};
      row += builtin.height;
    }
  }
  return font;
}

}  // namespace

std::shared_ptr<const Font> default_font(const std::string& name) {
  for (const BuiltinFont& builtin : builtin_fonts()) {
    if (builtin.name == name) {
      return std::make_shared<const Font>(unpack(builtin));
    }
  }
  return nullptr;
}

std::shared_ptr<const Font> load_font(const std::string& name, int height) {
  auto builtin = default_font(name);
  if (builtin) {
    return builtin;
  }
  auto font = read_font_file(name, height);
  return font ? std::make_shared<const Font>(std::move(*font)) : nullptr;
}

}  // namespace gr
