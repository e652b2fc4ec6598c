#pragma once
// Canvases as PNG files: palette images without a time, so that the same picture is the same bytes.

#include <cstdio>
#include <optional>
#include <string>

#include "graphics/canvas.h"

namespace gr {

/// Widest and highest picture that can be saved.
inline constexpr int largest_picture = 1000000;

/// Writes a canvas, with the colours of a palette, to an open stream and flushes it. Returns
/// whether that succeeded; a picture that has no pixels or is larger than largest_picture cannot be
/// written. That a pipe has been closed is a result only where SIGPIPE is ignored.
bool save_png(const Canvas& canvas, const Palette& palette, std::FILE* stream);

/// What a file holds.
struct Picture {
  Canvas canvas;
  Palette palette;
};

/// Reads a palette image of up to eight bits per pixel; nothing if the file is something else, or
/// damaged.
std::optional<Picture> load_png(const std::string& path);

}  // namespace gr
