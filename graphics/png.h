#pragma once
// Pictures of surfaces as PNG files: palette images without a time, so that the same picture is the
// same bytes.

#include <cstdio>
#include <optional>
#include <string>

#include "graphics/canvas.h"

namespace gr {

/// How a picture was saved. A picture without pixels or larger than largest_picture is one that
/// cannot be written.
enum class SaveResult { saved, cannot_open, cannot_write };

/// Widest and highest picture that can be saved.
inline constexpr int largest_picture = 1000000;

/// Writes a surface, with the colours of the current palette, to a file. It is written under
/// another name beside it and renamed when it is whole, so that nobody ever sees half a picture; a
/// device or a pipe is written to as it is. A file that is there must be writable, and so must its
/// folder.
SaveResult save_context_to_png(const Context& context, const std::string& path);

/// Writes a surface to an open stream and flushes it. That a pipe has been closed is a result only
/// where SIGPIPE is ignored.
SaveResult save_context_to_png(const Context& context, std::FILE* stream);

/// A picture read back, with its palette.
struct Picture {
  Context context;
  Palette palette;
};

/// Reads a palette image of up to eight bits per pixel; nothing if the file is none, or damaged.
std::optional<Picture> load_png(const std::string& path);

}  // namespace gr
