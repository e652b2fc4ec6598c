// Makes the source with the built-in fonts from the X11 bitmap fonts, while the program is built:
// bake_fonts FOLDER OUTPUT.

#include <cstdio>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "graphics/font_file.h"

namespace {

/// A built-in font and the faces that it is made of, whose cells begin at a column of its own. The
/// second one is for the characters that the first one may lack.
struct Recipe {
  const char* name;
  int width, height;
  const char* ascii_face;
  const char* latin_face;
  int column;
};

constexpr Recipe recipes[] = {
    {"pc6x8", 6, 8, "spleen-5x8.pcf.gz", "5x8-ISO8859-1.pcf.gz", 1},
    {"pc8x8", 8, 8, "spleen-5x8.pcf.gz", "5x8-ISO8859-1.pcf.gz", 2},
    {"pc8x14", 8, 14, "ter-u14n_iso-8859-1.pcf.gz", "ter-u14n_iso-8859-1.pcf.gz", 0},
    {"pc8x16", 8, 16, "ter-u16n_iso-8859-1.pcf.gz", "ter-u16n_iso-8859-1.pcf.gz", 0},
};

gr::Font read_face(const std::string& path, int height) {
  auto font = gr::read_font_file(path, height);
  if (!font || font->height != height) {
    throw std::runtime_error(fmt::format("no font {} pixels high: {}", height, path));
  }
  return *font;
}

/// The rows of one character in the cells of the built-in font.
std::vector<unsigned> cell_rows(const gr::Font& face, unsigned character, const Recipe& recipe) {
  const gr::Glyph& glyph = face.glyphs.at(character);
  if (glyph.bits.empty() || recipe.column + glyph.width > recipe.width) {
    throw std::runtime_error(
        fmt::format("{}: character {} is missing or wider than the cell", face.name, character));
  }
  std::vector<unsigned> rows(glyph.bits.begin(), glyph.bits.end());
  for (unsigned& row : rows) {
    row >>= recipe.column;
  }
  return rows;
}

void write_font(std::ostream& output, const std::string& folder, const Recipe& recipe) {
  const gr::Font ascii = read_face(folder + "/" + recipe.ascii_face, recipe.height);
  const gr::Font latin = read_face(folder + "/" + recipe.latin_face, recipe.height);
  output << fmt::format("constexpr std::uint8_t {}[] = {{\n", recipe.name);
  for (unsigned character = 0; character < 256; ++character) {
    if (!gr::is_printable(character)) {
      continue;
    }
    for (const unsigned row : cell_rows(character < 0x80 ? ascii : latin, character, recipe)) {
      output << fmt::format("{:#04x},", row);
    }
    output << fmt::format("  // {:#04x}\n", character);
  }
  output << "};\n\n";
}

void write_source(std::ostream& output, const std::string& folder) {
  output << "// Made by bake_fonts. See graphics/FONTS-LICENSE.\n\n"
            "#include \"graphics/builtin_fonts.h\"\n\n"
            "namespace gr {\n\nnamespace {\n\n";
  for (const Recipe& recipe : recipes) {
    write_font(output, folder, recipe);
  }
  output << "constexpr BuiltinFont fonts[] = {\n";
  for (const Recipe& recipe : recipes) {
    output << fmt::format("    {{\"{0}\", {1}, {2}, {0}}},\n", recipe.name, recipe.width,
                          recipe.height);
  }
  output << "};\n\n}  // namespace\n\n"
            "std::span<const BuiltinFont> builtin_fonts() {\n  return fonts;\n}\n\n"
            "}  // namespace gr\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: bake_fonts FOLDER OUTPUT\n";
    return 1;
  }
  try {
    std::ofstream output(argv[2]);
    write_source(output, argv[1]);
    output.close();
    if (!output) {
      throw std::runtime_error(std::string("can't write ") + argv[2]);
    }
  } catch (const std::exception& error) {
    std::cerr << "bake_fonts: " << error.what() << '\n';
    std::remove(argv[2]);
    return 1;
  }
  return 0;
}
