// Pictures to and from PNG files, through libpng's rows.

#include "graphics/png.h"

#include <algorithm>
#include <array>
#include <csetjmp>
#include <memory>
#include <png.h>
#include <zlib.h>

// libpng reports errors by a jump to the last setjmp. The functions that call setjmp hold nothing
// with a destructor, and what libpng allocates belongs to objects outside of them.

namespace gr {

namespace {

/// Plots are long runs of one colour. Looking for runs alone takes a third of the time of looking
/// for any repetition and makes files of about the same size.
constexpr int compression_level = 6;
constexpr int compression_strategy = Z_RLE;

[[noreturn]] void jump_back(png_structp png, png_const_charp /*message*/) {
  png_longjmp(png, 1);
}

void ignore(png_structp /*png*/, png_const_charp /*message*/) {}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using File = std::unique_ptr<std::FILE, CloseFile>;

class Writer {
 public:
  Writer() : png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, jump_back, ignore)) {
    info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
  }

  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  ~Writer() { png_destroy_write_struct(&png_, &info_); }

  bool write(const Canvas& canvas, const png_color* colors, int n_colors, std::FILE* stream) {
    if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) {
      return false;
    }
    png_init_io(png_, stream);
    png_set_compression_level(png_, compression_level);
    png_set_compression_strategy(png_, compression_strategy);
    png_set_IHDR(png_, info_, static_cast<png_uint_32>(canvas.width),
                 static_cast<png_uint_32>(canvas.height), n_colors > 16 ? 8 : 4,
                 PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_set_PLTE(png_, info_, colors, n_colors);
    png_write_info(png_, info_);
    png_set_packing(png_);
    for (int y = 0; y < canvas.height; ++y) {
      png_write_row(png_, canvas.pixels.data() + std::ptrdiff_t{y} * canvas.width);
    }
    png_write_end(png_, nullptr);
    return true;
  }

 private:
  png_structp png_;
  png_infop info_;
};

class Reader {
 public:
  Reader() : png_(png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, jump_back, ignore)) {
    info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
  }

  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  ~Reader() { png_destroy_read_struct(&png_, &info_, nullptr); }

  /// Reads as far as to the first row. False if the file is no palette image.
  bool read_header(std::FILE* file) {
    if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) {
      return false;
    }
    png_init_io(png_, file);
    png_read_info(png_, info_);
    return png_get_color_type(png_, info_) == PNG_COLOR_TYPE_PALETTE;
  }

  Canvas make_canvas() const {
    return {static_cast<int>(png_get_image_width(png_, info_)),
            static_cast<int>(png_get_image_height(png_, info_))};
  }

  Palette palette() const {
    Palette palette;
    png_colorp colors = nullptr;
    int count = 0;
    png_get_PLTE(png_, info_, &colors, &count);
    for (; palette.used < static_cast<std::size_t>(count); ++palette.used) {
      const png_color& color = colors[palette.used];
      palette.colors.at(palette.used) = {color.red, color.green, color.blue};
    }
    return palette;
  }

  bool read_rows(Canvas& canvas) {
    if (setjmp(png_jmpbuf(png_)) != 0) {
      return false;
    }
    png_set_packing(png_);
    const int passes = png_set_interlace_handling(png_);
    png_start_read_image(png_);
    for (int row = 0; row < passes * canvas.height; ++row) {
      const std::ptrdiff_t y = row % canvas.height;
      png_read_row(png_, canvas.pixels.data() + y * canvas.width, nullptr);
    }
    png_read_end(png_, nullptr);
    return true;
  }

 private:
  png_structp png_;
  png_infop info_;
};

bool has_picture_size(const Canvas& canvas) {
  return canvas.width > 0 && canvas.width <= largest_picture && canvas.height > 0 &&
         canvas.height <= largest_picture;
}

}  // namespace

bool save_png(const Canvas& canvas, const Palette& palette, std::FILE* stream) {
  if (!has_picture_size(canvas)) {
    return false;
  }
  // Indices that were never allocated are black.
  const auto highest = *std::max_element(canvas.pixels.begin(), canvas.pixels.end());
  const std::size_t n_colors = std::max(palette.used, highest + std::size_t{1});
  std::array<png_color, 256> colors{};
  for (std::size_t i = 0; i < n_colors; ++i) {
    const Rgb& color = palette.colors.at(i);
    colors.at(i) = {color.red, color.green, color.blue};
  }
  const bool written = Writer().write(canvas, colors.data(), static_cast<int>(n_colors), stream);
  return std::fflush(stream) == 0 && written;
}

std::optional<Picture> load_png(const std::string& path) {
  const File file(std::fopen(path.c_str(), "rb"));
  Reader reader;
  if (!file || !reader.read_header(file.get())) {
    return {};
  }
  Picture picture{reader.make_canvas(), reader.palette()};
  const auto is_allocated = [&](std::uint8_t index) { return index < picture.palette.used; };
  if (picture.canvas.pixels.empty() || !reader.read_rows(picture.canvas) ||
      !std::all_of(picture.canvas.pixels.begin(), picture.canvas.pixels.end(), is_allocated)) {
    return {};
  }
  return picture;
}

}  // namespace gr
