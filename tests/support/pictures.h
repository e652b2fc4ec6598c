#pragma once
// Pictures in their colors, and the accepted ones in tests/pictures.

#include <cstdint>
#include <string>
#include <vector>

#include "graphics/canvas.h"

namespace support {

/// Pixels as they are on a screen, 0xRRGGBB, row by row.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels;

  bool operator==(const Image&) const = default;
};

/// The surface that is drawn on.
Image current_image();

/// Saves a canvas with the colours in force. Returns whether that succeeded.
bool save_image(const gr::Canvas& canvas, const std::string& path);

/// A picture that was saved; empty if there is none.
Image load_image(const std::string& path);

/// Expects an image to be this one. Where it is not, writes both into the build folder, as
/// NAME.actual.ppm and NAME.expected.ppm.
void expect_same(const std::string& name, const Image& actual, const Image& expected);

/// Expects the surface that is drawn on to be the accepted picture of this name. With
/// TAVRIK_UPDATE_PICTURES=1 in the environment it becomes the accepted one.
void expect_accepted(const std::string& name);

}  // namespace support
