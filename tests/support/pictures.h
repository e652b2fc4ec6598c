#pragma once
// Comparing what was drawn with the accepted pictures in tests/pictures.

#include <string>
#include <vector>

#include "graphics/png.h"

namespace support {

/// Expects a picture to be the accepted one, color by color. Where it is not, writes it as
/// NAME.actual.png and the differing pixels, red on white, as NAME.diff.png into the build folder.
/// With TAVRIK_UPDATE_PICTURES=1 in the environment the picture becomes the accepted one.
void expect_picture(const std::string& name, const gr::Picture& actual);

/// The surface that is drawn on.
gr::Picture current_picture();

/// Names of all accepted pictures, in order.
std::vector<std::string> accepted_pictures();

}  // namespace support
