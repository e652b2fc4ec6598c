#pragma once
// Fonts from files, in the one-bit form that text is drawn in. For this folder's own sources: the
// library and the tool that makes the built-in fonts.

#include <optional>
#include <string>

#include "graphics/font.h"

namespace gr {

/// The font in a file; see load_font. Its name is the path.
std::optional<Font> read_font_file(const std::string& path, int height);

/// Whether a character can be seen on paper: the part of Latin 1 that fonts are read for.
constexpr bool is_printable(unsigned character) {
  return (character >= 0x20 && character <= 0x7e) || (character >= 0xa0 && character <= 0xff);
}

}  // namespace gr
