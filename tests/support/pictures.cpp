// Comparing, accepting and listing pictures.

#include "tests/support/pictures.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string_view>
#include <utility>

#include "graphics/mode.h"

namespace support {

namespace {

/// A pixel's color; black outside the picture.
gr::Rgb color_at(const gr::Picture& picture, int x, int y) {
  const gr::Context& context = picture.context;
  if (x >= context.width || y >= context.height) {
    return {};
  }
  const auto place = static_cast<std::size_t>(y) * static_cast<std::size_t>(context.width) +
                     static_cast<std::size_t>(x);
  return picture.palette.colors.at(context.pixels.at(place));
}

void write(const gr::Picture& picture, const std::string& path) {
  const gr::Palette in_use = std::exchange(gr::surface.palette, picture.palette);
  EXPECT_EQ(gr::save_context_to_png(picture.context, path), gr::SaveResult::saved) << path;
  gr::surface.palette = in_use;
}

/// Both pictures' pixels: index 1, red, where they differ, also by being there or not.
struct Difference {
  gr::Picture picture;
  long count = 0;
};

Difference compare(const gr::Picture& actual, const gr::Picture& accepted) {
  const gr::Context& a = actual.context;
  const gr::Context& b = accepted.context;
  Difference difference;
  difference.picture.context =
      gr::Context(std::max(a.width, b.width), std::max(a.height, b.height));
  difference.picture.palette.colors[0] = {255, 255, 255};
  difference.picture.palette.colors[1] = {255, 0, 0};
  difference.picture.palette.used = 2;
  auto pixel = difference.picture.context.pixels.begin();
  for (int y = 0; y < difference.picture.context.height; ++y) {
    for (int x = 0; x < difference.picture.context.width; ++x, ++pixel) {
      const bool in_both = x < std::min(a.width, b.width) && y < std::min(a.height, b.height);
      if (!in_both || color_at(actual, x, y) != color_at(accepted, x, y)) {
        *pixel = 1;
        ++difference.count;
      }
    }
  }
  return difference;
}

bool accepting() {
  const char* wanted = std::getenv("TAVRIK_UPDATE_PICTURES");
  return wanted != nullptr && std::string_view(wanted) == "1";
}

}  // namespace

void expect_picture(const std::string& name, const gr::Picture& actual) {
  const std::string path = std::string(TAVRIK_PICTURES) + "/" + name + ".png";
  if (accepting()) {
    write(actual, path);
    return;
  }
  const std::string beside = std::string(TAVRIK_PICTURE_OUTPUT) + "/" + name;
  const auto accepted = gr::load_png(path);
  if (!accepted) {
    write(actual, beside + ".actual.png");
    ADD_FAILURE() << "no picture " << path << "; drawn: " << beside << ".actual.png";
    return;
  }
  const Difference difference = compare(actual, *accepted);
  if (difference.count > 0) {
    write(actual, beside + ".actual.png");
    write(difference.picture, beside + ".diff.png");
    ADD_FAILURE() << difference.count << " pixels are not those of " << path
                  << "\ndrawn: " << beside << ".actual.png\ndiffering: " << beside << ".diff.png";
  }
}

gr::Picture current_picture() {
  return {gr::surface.screen, gr::surface.palette};
}

std::vector<std::string> accepted_pictures() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(TAVRIK_PICTURES)) {
    names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace support
