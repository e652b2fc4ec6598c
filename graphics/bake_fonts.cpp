// Makes the source with the built-in fonts from the X11 bitmap fonts, while the program is built:
// bake_fonts FOLDER OUTPUT.

#include <cstdio>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "graphics/font_file.h"

namespace {

/// A built-in font and the faces it is made of. The first has the cells, but ASCII only; the
/// other characters are placed into these cells, on the same base line.
struct Recipe {
  const char* name;
  int width, height;
  const char* ascii_face;
  const char* latin_face;
  int latin_column, latin_row;  // where the second face's cells begin
};

constexpr Recipe recipes[] = {
    {"pc6x8", 6, 8, "clR6x8.pcf.gz", "5x8-ISO8859-1.pcf.gz", 1, 0},
    {"pc8x8", 8, 8, "clR8x8.pcf.gz", "5x8-ISO8859-1.pcf.gz", 1, 0},
    {"pc8x14", 8, 14, "clR8x14.pcf.gz", "8x13-ISO8859-1.pcf.gz", 0, 0},
    {"pc8x16", 8, 16, "clR8x16.pcf.gz", "8x13-ISO8859-1.pcf.gz", 0, 1},
};

gr::Font read_face(const std::string& path, int height) {
  auto font = gr::read_font_file(path, height);
  if (!font) {
    throw std::runtime_error("can't read the font " + path);
  }
  return *font;
}

/// The rows of one character in the cells of the built-in font.
std::vector<unsigned> cell_rows(const gr::Font& face, unsigned character, const Recipe& recipe,
                                int column, int row) {
  const gr::Glyph& glyph = face.glyphs.at(character);
  if (glyph.bits.empty() || column + glyph.width > recipe.width ||
      row + face.height > recipe.height) {
    throw std::runtime_error(
        fmt::format("{}: character {} is missing or larger than the cell", face.name, character));
  }
  std::vector<unsigned> rows(static_cast<std::size_t>(recipe.height));
  for (std::size_t i = 0; i < glyph.bits.size(); ++i) {
    rows.at(i + static_cast<std::size_t>(row)) = glyph.bits[i] >> column;
  }
  return rows;
}

void write_font(std::ostream& output, const std::string& folder, const Recipe& recipe) {
  const gr::Font ascii = read_face(folder + "/" + recipe.ascii_face, recipe.height);
  const gr::Font latin = read_face(folder + "/" + recipe.latin_face, recipe.height);
  if (ascii.fixed_width != recipe.width || ascii.height != recipe.height) {
    throw std::runtime_error(ascii.name + " has other cells than " + recipe.name);
  }
  output << fmt::format("constexpr std::uint8_t {}[] = {{\n", recipe.name);
  for (unsigned character = 0; character < 256; ++character) {
    if (!gr::is_printable(character)) {
      continue;
    }
    const std::vector<unsigned> rows =
        character < 0x80
            ? cell_rows(ascii, character, recipe, 0, 0)
            : cell_rows(latin, character, recipe, recipe.latin_column, recipe.latin_row);
    for (const unsigned row : rows) {
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
