// Pictures written and read, and what can go wrong with them.

#include "graphics/png.h"

#include <gtest/gtest.h>

#include "graphics/draw.h"
#include "graphics/mode.h"
#include "tests/support/pictures.h"
#include "tests/support/temporary_folder.h"

namespace {

class png : public testing::Test {
 protected:
  ~png() override { gr::graphics = {}; }

  /// Pixels of so many colours, which become the palette.
  static gr::Canvas picture(int n_colors, int width = 33, int height = 17) {
    gr::graphics.palette = {};
    gr::Canvas canvas(width, height);
    for (int i = 0; i < width * height; ++i) {
      const int color = i % n_colors;
      canvas.pixels.at(i) =
          static_cast<std::uint8_t>(gr::allocate_color(color, 255 - color, 2 * color % 256));
    }
    return canvas;
  }

  support::TemporaryFolder folder_;
};

/// An image of one pixel with its red, green and blue instead of an index.
constexpr std::string_view true_color(
    "\211PNG\r\n\032\n\0\0\0\rIHDR\0\0\0\001\0\0\0\001\010\002\0\0\0\220wS\336\0\0\0\014IDATx\234"
    "c`db\006\0\0\016\0\007\327o\344x\0\0\0\0IEND\256B`\202",
    69);

}  // namespace

TEST_F(png, a_picture_comes_back_as_it_was) {
  for (const int n_colors : {1, 2, 16, 17, 256}) {
    SCOPED_TRACE(n_colors);
    const gr::Canvas canvas = picture(n_colors);
    ASSERT_TRUE(support::save_image(canvas, folder_ / "a.png"));
    const gr::Picture read = gr::load_png(folder_ / "a.png").value();
    EXPECT_EQ(read.canvas.pixels, canvas.pixels);
    EXPECT_EQ(read.canvas.width, 33);
    EXPECT_EQ(read.palette.colors, gr::graphics.palette.colors);
    EXPECT_EQ(read.palette.used, gr::graphics.palette.used);
  }
}

TEST_F(png, a_stream_is_flushed_and_an_index_without_a_color_is_black) {
  gr::Canvas canvas = picture(1);
  canvas.pixels[1] = 20;
  for (const auto& [path, expected] : {std::pair{folder_ / "a.png", true}, {"/dev/full", false}}) {
    std::FILE* stream = std::fopen(path.c_str(), "wb");
    EXPECT_EQ(gr::save_png(canvas, gr::graphics.palette, stream), expected);
    EXPECT_EQ(gr::load_png(folder_ / "a.png").value().palette.colors.at(20), gr::Rgb());
    std::fclose(stream);
  }
}

TEST_F(png, a_picture_without_pixels_or_of_too_many_is_not_written) {
  for (const gr::Canvas& canvas : {gr::Canvas(), gr::Canvas(gr::largest_picture + 1, 1)}) {
    EXPECT_FALSE(support::save_image(canvas, folder_ / "a.png"));
    EXPECT_EQ(folder_.read("a.png"), "");
  }
}

TEST_F(png, no_damage_goes_unnoticed) {
  ASSERT_TRUE(support::save_image(picture(5), folder_ / "a.png"));
  const std::string file = folder_.read("a.png");
  for (std::size_t i = 0; i < file.size(); ++i) {
    EXPECT_FALSE(gr::load_png(folder_.write("b.png", file.substr(0, i)))) << i;
    for (const int change : {1, 0x20, 0x80}) {
      std::string damaged = file;
      damaged[i] = static_cast<char>(damaged[i] ^ change);
      EXPECT_FALSE(gr::load_png(folder_.write("b.png", damaged))) << i << ' ' << change;
    }
  }
  EXPECT_FALSE(gr::load_png(folder_.write("b.png", true_color)));
  EXPECT_FALSE(gr::load_png(folder_ / "missing.png"));
}
