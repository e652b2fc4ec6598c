#pragma once
// Canvases as PNG files: palette images without a time, so that the same picture is the same bytes.

#include <cstdio>
#include <optional>
#include <string>

#include "graphics/canvas.h"

namespace gr {

/// How saving went. A picture that has no pixels or is larger than largest_picture cannot be
/// written.
enum class SaveResult { saved, cannot_open, cannot_write };

/// Widest and highest picture that can be saved.
inline constexpr int largest_picture = 1000000;

/// Writes a canvas, with the colours of a palette, to a file. It is written under another name
/// beside it and renamed when it is whole, so that nobody ever sees half a picture; a device or a
/// pipe is written to as it is. A file that is there must be writable, and so must its folder.
SaveResult save_png(const Canvas& canvas, const Palette& palette, const std::string& path);

/// Writes a canvas to an open stream and flushes it. That a pipe has been closed is a result only
/// where SIGPIPE is ignored.
SaveResult save_png(const Canvas& canvas, const Palette& palette, std::FILE* stream);

/// What a file holds.
struct Picture {
  Canvas canvas;
  Palette palette;
};

/// Reads a palette image of up to eight bits per pixel; nothing if the file is something else, or
/// damaged.
std::optional<Picture> load_png(const std::string& path);

}  // namespace gr
