// Driver texts, and opening and leaving the canvas.

#include "graphics/mode.h"

#include <charconv>
#include <cstdio>
#include <optional>
#include <sstream>
#include <utility>

#include "graphics/window.h"

namespace gr {

namespace {

/// What a mode needs.
struct ModeSize {
  int width = 0;
  int height = 0;
  int colors = 0;
};

std::optional<int> whole_number(const std::string& text) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stop != end || text.front() == '-') {
    return {};
  }
  return number;
}

/// Reads "memory" and three pairs of a name and a number.
std::optional<ModeSize> parse_memory_driver(const std::string& description) {
  std::istringstream words(description);
  std::string word;
  words >> word;
  if (word != "memory") {
    return {};
  }
  std::optional<int> width, height, colors;
  std::string number;
  while (words >> word) {
    std::optional<int>* field = word == "gw"   ? &width
                                : word == "gh" ? &height
                                : word == "nc" ? &colors
                                               : nullptr;
    if (field == nullptr || *field || !(words >> number)) {
      return {};
    }
    *field = whole_number(number);
    if (!*field) {
      return {};
    }
  }
  if (!width || !height || !colors) {
    return {};
  }
  return ModeSize{*width, *height, *colors};
}

bool fits_canvas(const ModeSize& size) {
  return size.width > 0 && size.height > 0 &&
         std::int64_t{size.width} * size.height <= largest_canvas;
}

/// Opens the canvas. Returns the reason why it can't be, or null.
const char* open_canvas(ModeKind kind, ModeSize size) {
  if (kind != ModeKind::default_graphics && kind != ModeKind::width_height_color_graphics) {
    return "unknown video mode";
  }
  const auto described = parse_memory_driver(graphics.driver);
  const WindowDriver* window = described ? nullptr : load_window_driver();
  if (!described && window == nullptr) {
    return "could not find suitable video driver";
  }
  if (kind == ModeKind::default_graphics) {
    size = described.value_or(ModeSize());
  }
  if (size.colors < 1 || size.colors > 256) {
    return "could not set color mode";
  }
  Canvas canvas(size.width, size.height);
  if (canvas.pixels.empty()) {
    return "could not find suitable video mode";
  }
  const char* reason = window == nullptr ? nullptr : window->open(size.width, size.height);
  if (reason == nullptr) {
    graphics.canvas = std::move(canvas);
    graphics.palette = {};
    graphics.palette.limit = static_cast<std::size_t>(size.colors);
    graphics.open = true;
    graphics.window = window;
    graphics.events.clear();
  }
  return reason;
}

}  // namespace

bool set_driver(const std::string& description) {
  if (!description.empty()) {
    const auto size = parse_memory_driver(description);
    if (!size || !fits_canvas(*size)) {
      return false;
    }
  }
  set_text_mode();
  graphics.driver = description;
  return true;
}

bool GrSetMode(ModeKind kind, int width, int height, int colors) {
  const char* reason = open_canvas(kind, {width, height, colors});
  if (reason != nullptr) {
    std::fprintf(stderr, "GrSetMode: %s\n", reason);
  }
  return reason == nullptr;
}

int GrSizeX() {
  return graphics.canvas.width;
}

int GrSizeY() {
  return graphics.canvas.height;
}

int max_x() {
  return GrSizeX() - 1;
}

int max_y() {
  return GrSizeY() - 1;
}

std::string video_driver_name() {
  if (graphics.window == nullptr) {
    return graphics.open ? "memory" : "";
  }
  const char* name = graphics.window->name();
  return name == nullptr ? "" : name;
}

void set_text_mode() {
  if (graphics.window != nullptr) {
    graphics.window->close();
    graphics.window = nullptr;
  }
  graphics.events.clear();
  graphics.open = false;
  graphics.canvas = {};
  graphics.palette = {};
}

}  // namespace gr
