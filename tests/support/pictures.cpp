// Comparing and accepting pictures.

#include "tests/support/pictures.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

#include "graphics/mode.h"
#include "graphics/png.h"

namespace support {

namespace {

Image to_image(const gr::Canvas& canvas, const gr::Palette& palette) {
  Image image = {canvas.width, canvas.height, {}};
  for (const std::uint8_t index : canvas.pixels) {
    const gr::Rgb& color = palette.colors[index];
    image.pixels.push_back(static_cast<std::uint32_t>(color.red) << 16 |
                           static_cast<std::uint32_t>(color.green) << 8 | color.blue);
  }
  return image;
}

void write_ppm(const Image& image, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  file << "P6 " << image.width << ' ' << image.height << " 255\n";
  for (const std::uint32_t pixel : image.pixels) {
    file.put(static_cast<char>(pixel >> 16));
    file.put(static_cast<char>(pixel >> 8));
    file.put(static_cast<char>(pixel));
  }
}

}  // namespace

Image current_image() {
  return to_image(gr::graphics.canvas, gr::graphics.palette);
}

bool save_image(const gr::Canvas& canvas, const std::string& path) {
  std::FILE* stream = std::fopen(path.c_str(), "wb");
  const bool saved = stream != nullptr && gr::save_png(canvas, gr::graphics.palette, stream);
  return stream != nullptr && std::fclose(stream) == 0 && saved;
}

Image load_image(const std::string& path) {
  const gr::Picture picture = gr::load_png(path).value_or(gr::Picture());
  return to_image(picture.canvas, picture.palette);
}

void expect_same(const std::string& name, const Image& actual, const Image& expected) {
  if (actual != expected) {
    const std::string path = std::string(TAVRIK_PICTURE_OUTPUT) + "/" + name;
    write_ppm(actual, path + ".actual.ppm");
    write_ppm(expected, path + ".expected.ppm");
    ADD_FAILURE() << path << ".actual.ppm is not " << path << ".expected.ppm";
  }
}

void expect_accepted(const std::string& name) {
  const std::string path = std::string(TAVRIK_PICTURES) + "/" + name + ".png";
  if (std::getenv("TAVRIK_UPDATE_PICTURES") != nullptr) {
    save_image(gr::graphics.canvas, path);
  }
  expect_same(name, current_image(), load_image(path));
}

}  // namespace support
