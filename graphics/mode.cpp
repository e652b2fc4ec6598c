// Driver texts, and opening and leaving the surface.

#include "graphics/mode.h"

#include <charconv>
#include <cstdio>
#include <optional>
#include <sstream>

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

bool fits_surface(const ModeSize& size) {
  return size.width > 0 && size.height > 0 &&
         std::int64_t{size.width} * size.height <= largest_surface;
}

/// Opens the surface. Returns the reason why it can't be, or null.
const char* open_surface(ModeKind kind, ModeSize size) {
  if (kind != ModeKind::default_graphics && kind != ModeKind::width_height_color_graphics) {
    return "unknown video mode";
  }
  const auto described = parse_memory_driver(surface.driver);
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
  Context screen(size.width, size.height);
  if (screen.pixels.empty()) {
    return "could not find suitable video mode";
  }
  const char* reason = window == nullptr ? nullptr : window->open(size.width, size.height);
  if (reason == nullptr) {
    surface.screen = std::move(screen);
    surface.palette = {};
    surface.palette.limit = static_cast<std::size_t>(size.colors);
    surface.open = true;
    surface.window = window;
    surface.events.clear();
  }
  return reason;
}

}  // namespace

bool set_driver(const std::string& description) {
  if (!description.empty()) {
    const auto size = parse_memory_driver(description);
    if (!size || !fits_surface(*size)) {
      return false;
    }
  }
  set_text_mode();
  surface.driver = description;
  return true;
}

bool GrSetMode(ModeKind kind, int width, int height, int colors) {
  const char* reason = open_surface(kind, {width, height, colors});
  if (reason != nullptr) {
    std::fprintf(stderr, "GrSetMode: %s\n", reason);
  }
  return reason == nullptr;
}

int GrSizeX() {
  return surface.screen.width;
}

int GrSizeY() {
  return surface.screen.height;
}

int max_x() {
  return GrSizeX() - 1;
}

int max_y() {
  return GrSizeY() - 1;
}

std::string video_driver_name() {
  if (surface.window == nullptr) {
    return surface.open ? "memory" : "";
  }
  const char* name = surface.window->name();
  return name == nullptr ? "" : name;
}

void set_text_mode() {
  if (surface.window != nullptr) {
    surface.window->close();
    surface.window = nullptr;
  }
  surface.events.clear();
  surface.open = false;
  surface.screen = {};
  surface.palette = {};
}

}  // namespace gr
