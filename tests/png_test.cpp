// Pictures written and read, and what can go wrong with them.

#include "graphics/png.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "graphics/draw.h"
#include "graphics/mode.h"
#include "tests/support/temporary_folder.h"

namespace {

using gr::SaveResult;

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

  std::ptrdiff_t file_count() const {
    return std::distance(std::filesystem::directory_iterator(folder_.path()), {});
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
    ASSERT_EQ(gr::save_png(canvas, gr::graphics.palette, folder_ / "a.png"), SaveResult::saved);
    const gr::Picture read = gr::load_png(folder_ / "a.png").value();
    EXPECT_EQ(read.canvas.pixels, canvas.pixels);
    EXPECT_EQ(read.canvas.width, 33);
    EXPECT_EQ(read.palette.colors, gr::graphics.palette.colors);
    EXPECT_EQ(read.palette.used, gr::graphics.palette.used);
  }
  EXPECT_EQ(file_count(), 1);
}

TEST_F(png, a_stream_is_flushed_and_an_index_without_a_color_is_black) {
  gr::Canvas canvas = picture(1);
  canvas.pixels[1] = 20;
  for (const auto& [path, expected] :
       {std::pair{folder_ / "a.png", SaveResult::saved}, {"/dev/full", SaveResult::cannot_write}}) {
    std::FILE* stream = std::fopen(path.c_str(), "wb");
    EXPECT_EQ(gr::save_png(canvas, gr::graphics.palette, stream), expected);
    EXPECT_EQ(gr::load_png(folder_ / "a.png").value().palette.colors.at(20), gr::Rgb());
    std::fclose(stream);
  }
}

TEST_F(png, a_file_appears_with_usual_permissions_and_a_link_stays_one) {
  folder_.write("old.png", "old");
  std::filesystem::create_symlink("old.png", folder_ / "link.png");
  const mode_t mask = umask(027);
  EXPECT_EQ(gr::save_png(picture(4), gr::graphics.palette, folder_ / "link.png"),
            SaveResult::saved);
  umask(mask);
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "link.png"));
  EXPECT_TRUE(gr::load_png(folder_ / "old.png"));
  EXPECT_EQ(static_cast<int>(std::filesystem::status(folder_ / "old.png").permissions()), 0640);
}

TEST_F(png, what_cannot_be_opened_or_written_is_left_alone) {
  folder_.write("file", "kept");
  std::filesystem::create_directory(folder_ / "a.png");
  for (const std::string name : {"missing/a.png", "file/a.png", "a.png", "new/", ""}) {
    EXPECT_EQ(gr::save_png(picture(4), gr::graphics.palette, folder_ / name),
              SaveResult::cannot_open)
        << name;
  }
  EXPECT_EQ(gr::save_png(picture(4), gr::graphics.palette, ""), SaveResult::cannot_open);
  const gr::Canvas large = picture(200, 90, 90);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small = {1000, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const SaveResult result = gr::save_png(large, gr::graphics.palette, folder_ / "file");
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(result, SaveResult::cannot_write);
  const gr::Canvas too_wide(gr::largest_picture + 1, 1);
  EXPECT_EQ(gr::save_png(too_wide, gr::graphics.palette, folder_ / "file"),
            SaveResult::cannot_write);
  EXPECT_EQ(gr::save_png({}, gr::graphics.palette, folder_ / "file"), SaveResult::cannot_write);
  EXPECT_EQ(folder_.read("file"), "kept");
  EXPECT_EQ(file_count(), 2);
}

TEST_F(png, a_pipe_with_a_name_is_written_to_and_not_replaced) {
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  const int reader = open((folder_ / "pipe").c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_EQ(gr::save_png(picture(4), gr::graphics.palette, folder_ / "pipe"), SaveResult::saved);
  EXPECT_TRUE(std::filesystem::is_fifo(folder_ / "pipe"));
  char start[4] = {};
  EXPECT_EQ(read(reader, start, 4), 4);
  EXPECT_EQ(std::string_view(start + 1, 3), "PNG");
  close(reader);
}

TEST_F(png, no_damage_goes_unnoticed) {
  ASSERT_EQ(gr::save_png(picture(5), gr::graphics.palette, folder_ / "a.png"), SaveResult::saved);
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
