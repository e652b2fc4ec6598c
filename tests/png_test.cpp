// Pictures written and read, and what can go wrong with them.

#include "graphics/png.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "graphics/mode.h"
#include "tests/support/temporary_folder.h"

namespace {

using gr::SaveResult;

class png : public testing::Test {
 protected:
  ~png() override { gr::surface = {}; }

  /// Random pixels of so many random colours, which become the palette.
  static gr::Context picture(int width, int height, unsigned n_colors) {
    std::mt19937 random(n_colors);
    gr::surface.palette = {};
    while (gr::surface.palette.used < n_colors) {
      const int color = static_cast<int>(random() & 0xffffff);
      gr::allocate_color(color & 0xff, color >> 8 & 0xff, color >> 16);
    }
    gr::Context context(width, height);
    for (std::uint8_t& pixel : context.pixels) {
      pixel = static_cast<std::uint8_t>(random() % n_colors);
    }
    return context;
  }

  /// Number of things in the folder.
  std::ptrdiff_t file_count() const {
    return std::distance(std::filesystem::directory_iterator(folder_.path()), {});
  }

  support::TemporaryFolder folder_;
};

std::string chunk_names(const std::string& file) {
  std::string names;
  for (std::size_t at = 8; at + 8 <= file.size();) {
    std::size_t length = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
      length = length << 8 | static_cast<unsigned char>(file[i]);
    }
    names +=
        file.substr(at + 4, 4) + ' ' + (file[at + 4] == 'P' ? std::to_string(length) : "") + ' ';
    at += length + 12;
  }
  return names;
}

/// An image of one pixel with its red, green and blue instead of an index.
constexpr std::string_view true_color(
    "\211PNG\r\n\032\n\0\0\0\rIHDR\0\0\0\001\0\0\0\001\010\002\0\0\0\220wS\336\0\0\0\014IDATx\234"
    "c`db\006\0\0\016\0\007\327o\344x\0\0\0\0IEND\256B`\202",
    69);

}  // namespace

TEST_F(png, a_picture_comes_back_as_it_was) {
  const struct {
    int width, height;
    unsigned n_colors;
  } rows[] = {{1, 1, 1}, {7, 3, 2}, {33, 17, 16}, {33, 17, 17}, {640, 2, 256}, {3, 900, 9}};

  for (const auto& row : rows) {
    SCOPED_TRACE(row.n_colors);
    const gr::Context context = picture(row.width, row.height, row.n_colors);
    ASSERT_EQ(gr::save_context_to_png(context, folder_ / "a.png"), SaveResult::saved);
    const auto read = gr::load_png(folder_ / "a.png");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->context.pixels, context.pixels);
    EXPECT_EQ(read->context.width, row.width);
    EXPECT_EQ(read->context.height, row.height);
    EXPECT_EQ(read->palette.colors, gr::surface.palette.colors);
    EXPECT_EQ(chunk_names(folder_.read("a.png")),
              "IHDR  PLTE " + std::to_string(3 * row.n_colors) + " IDAT  IEND  ");
  }
  EXPECT_EQ(file_count(), 1);

  gr::Context context = picture(2, 1, 1);  // an index without a colour is black
  context.pixels = {0, 20};
  ASSERT_EQ(gr::save_context_to_png(context, folder_ / "a.png"), SaveResult::saved);
  const auto read = gr::load_png(folder_ / "a.png");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->context.pixels, context.pixels);
  EXPECT_EQ(read->palette.colors[20], gr::Rgb());
  std::FILE* stream = std::fopen((folder_ / "b.png").c_str(), "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(gr::save_context_to_png(context, stream), SaveResult::saved);
  EXPECT_EQ(folder_.read("a.png"), folder_.read("b.png"));  // flushed, still open
  std::fclose(stream);
}

TEST_F(png, a_file_appears_with_usual_permissions_and_a_link_stays_one) {
  const gr::Context context = picture(9, 9, 4);
  folder_.write("old.png", "old");
  std::filesystem::create_symlink("old.png", folder_ / "link.png");
  const mode_t mask = umask(027);
  EXPECT_EQ(gr::save_context_to_png(context, folder_ / "link.png"), SaveResult::saved);
  umask(mask);
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "link.png"));
  EXPECT_TRUE(gr::load_png(folder_ / "old.png"));
  EXPECT_EQ(std::filesystem::status(folder_ / "old.png").permissions(),
            static_cast<std::filesystem::perms>(0640));
}

TEST_F(png, what_cannot_be_opened_is_left_alone) {
  const gr::Context context = picture(9, 9, 4);
  folder_.write("file", "kept");
  std::filesystem::create_directory(folder_ / "a.png");
  for (const char* name : {"missing/a.png", "file/a.png", "a.png", "new/", ""}) {
    EXPECT_EQ(gr::save_context_to_png(context, *name == '\0' ? "" : folder_ / name),
              SaveResult::cannot_open)
        << name;
  }
  const std::string long_name(300, 'x');
  EXPECT_EQ(gr::save_context_to_png(context, folder_ / long_name), SaveResult::cannot_open);
  for (const gr::Context& impossible : {gr::Context(), gr::Context(gr::largest_picture + 1, 1)}) {
    EXPECT_EQ(gr::save_context_to_png(impossible, folder_ / "b.png"), SaveResult::cannot_write);
  }
  EXPECT_EQ(folder_.read("file"), "kept");
  EXPECT_EQ(file_count(), 2);
}

TEST_F(png, a_write_error_is_reported_and_leaves_the_old_picture) {
  const gr::Context context = picture(90, 90, 200);
  folder_.write("a.png", "old");
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small = {1000, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  const SaveResult result = gr::save_context_to_png(context, folder_ / "a.png");
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(result, SaveResult::cannot_write);
  EXPECT_EQ(folder_.read("a.png"), "old");
  EXPECT_EQ(file_count(), 1);
}

TEST_F(png, a_full_device_and_a_closed_pipe_are_write_errors) {
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  for (const gr::Context& context : {picture(1, 1, 1), picture(900, 90, 200)}) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    close(ends[0]);
    for (std::FILE* stream : {fdopen(ends[1], "wb"), std::fopen("/dev/full", "wb")}) {
      EXPECT_EQ(gr::save_context_to_png(context, stream), SaveResult::cannot_write);
      std::fclose(stream);
    }
  }
  std::signal(SIGPIPE, handler);
}

TEST_F(png, a_pipe_with_a_name_is_written_to_and_not_replaced) {
  const gr::Context context = picture(9, 9, 4);
  const std::string path = folder_ / "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_EQ(gr::save_context_to_png(context, path), SaveResult::saved);
  std::string bytes(10000, ' ');
  const ssize_t count = read(reader, bytes.data(), bytes.size());
  close(reader);
  EXPECT_TRUE(std::filesystem::is_fifo(path));
  ASSERT_GT(count, 0);
  gr::save_context_to_png(context, folder_ / "file");
  EXPECT_EQ(bytes.substr(0, static_cast<std::size_t>(count)), folder_.read("file"));
}

TEST_F(png, no_damage_goes_unnoticed) {
  ASSERT_EQ(gr::save_context_to_png(picture(20, 10, 5), folder_ / "a.png"), SaveResult::saved);
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
  EXPECT_FALSE(gr::load_png(folder_ / ""));
}
