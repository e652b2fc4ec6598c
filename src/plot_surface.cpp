// Graphics start and end, and drawing that the plots share.

#include "src/plot_surface.h"

#include <clocale>
#include <cstdlib>
#include <memory>
#include <new>

#include "graphics/draw.h"
#include "graphics/mode.h"

#include "src/console.h"
#include "src/run_files.h"
#include "src/settings.h"

namespace tavrik {

namespace {

constexpr const char* trace_module = "src/plot_surface";

struct ScreenSize {
  int width, height;
};

/// Screen sizes by graphics mode; mode 0 has none.
constexpr std::array<ScreenSize, 8> screen_sizes = {{{0, 0},
                                                     {640, 200},
                                                     {640, 350},
                                                     {640, 480},
                                                     {800, 600},
                                                     {1024, 768},
                                                     {1280, 1024},
                                                     {1600, 1200}}};

constexpr std::array<PanelLayout, 8> panel_layouts = {{{0, 0, 0, "pc8x16"},
                                                       {20, 130, 31, "pc6x8"},
                                                       {20, 240, 60, "pc6x8"},
                                                       {30, 320, 90, "pc8x14"},
                                                       {30, 360, 150, "pc8x16"},
                                                       {30, 360, 150, "pc8x16"},
                                                       {30, 720, 150, "pc8x16"},
                                                       {0, 0, 0, "pc8x16"}}};

/// The standard EGA palette.
constexpr std::array<gr::Rgb, 16> ega_colors = {{{0x00, 0x00, 0x00},
                                                 {0x00, 0x00, 0xAA},
                                                 {0x00, 0xAA, 0x00},
                                                 {0x00, 0xAA, 0xAA},
                                                 {0xAA, 0x00, 0x00},
                                                 {0xAA, 0x00, 0xAA},
                                                 {0xAA, 0x55, 0x00},
                                                 {0xAA, 0xAA, 0xAA},
                                                 {0x55, 0x55, 0x55},
                                                 {0x55, 0x55, 0xFF},
                                                 {0x55, 0xFF, 0x55},
                                                 {0x55, 0xFF, 0xFF},
                                                 {0xFF, 0x55, 0x55},
                                                 {0xFF, 0x55, 0xFF},
                                                 {0xFF, 0xFF, 0x55},
                                                 {0xFF, 0xFF, 0xFF}}};

std::string memory_driver(int width, int height) {
  return fmt::format("memory gw {} gh {} nc 256", width, height);
}

void open_memory_canvas(int width) {
  if (!gr::set_driver(memory_driver(width, picture_height)) ||
      !gr::GrSetMode(gr::ModeKind::default_graphics)) {
    throw std::bad_alloc();  // the text and the size are good ones
  }
}

void open_screen(int graphics_mode) {
  print("Using graphics library version {:x}\n", gr::library_version);
  ScreenSize size = screen_sizes.at(static_cast<std::size_t>(graphics_mode));
  if (size.width == 0) {
    size = {640, 480};
  }
  if (!gr::set_driver("") ||
      !gr::GrSetMode(gr::ModeKind::width_height_color_graphics, size.width, size.height, 256)) {
    fail("Nothing to draw on: --memory --save-and-exit saves a picture, -g0 draws none\n");
  }
}

gr::Color allocate(const gr::Rgb& color) {
  const gr::Color index = gr::allocate_color(color.red, color.green, color.blue);
  TAVRIK_TRACE(1, "color({})=({},{},{})\n", index, color.red, color.green, color.blue);
  return index;
}

void allocate_colors() {
  TAVRIK_TRACE(1, "GrSizeX()={} GrSizeY()={}", gr::GrSizeX(), gr::GrSizeY());
  for (std::size_t i = 0; i < ega_colors.size(); ++i) {
    plot_surface.ega[i] = allocate(ega_colors[i]);
  }
  plot_surface.background = allocate({255, 255, 255});
  plot_surface.foreground = allocate({0, 0, 0});
  plot_surface.text.color = plot_surface.foreground;
  TAVRIK_TRACE(1, "fgcolor={} bgcolor={}", plot_surface.foreground, plot_surface.background);
}

/// The font that the environment names, else the mode's own.
std::shared_ptr<const gr::Font> choose_font(int graphics_mode) {
  auto usual = gr::default_font(panel_layout(graphics_mode).font);
  const char* name = std::getenv("ZENVUE_FONT");
  if (name == nullptr || *name == '\0') {
    return usual;
  }
  auto font = gr::load_font(name, usual->height);
  if (!font) {
    warn("Font {} not found\nUsing default font\n", name);
    return usual;
  }
  if (!gr::default_font(name)) {
    protect_input(name);
  }
  return font;
}

}  // namespace

const PanelLayout& panel_layout(int graphics_mode) {
  return panel_layouts.at(static_cast<std::size_t>(graphics_mode));
}

void graphics_init(int graphics_mode) {
  if (graphics_mode == 0) {
    return;
  }
  if (settings.memory) {
    open_memory_canvas(800);
  } else {
    open_screen(graphics_mode);
  }
  info("VideoDriver: {}\n", gr::video_driver_name());
  if (panel_layout(graphics_mode).azimuth_height == 0) {
    warn("WARNING: -g{} shows no azimuths and velocities against time, only circular plots\n",
         graphics_mode);
  }
  allocate_colors();
  plot_surface.text.font = choose_font(graphics_mode);
  std::setlocale(LC_NUMERIC, "C");  // labels have a decimal point, whatever a driver has set
}

void resize_memory_canvas(int width) {
  open_memory_canvas(width);
  allocate_colors();
}

void graphics_end(int graphics_mode) {
  if (graphics_mode != 0) {
    plot_surface = PlotSurface();
    gr::set_text_mode();
  }
}

void draw_label(int x, int y, const std::string& text, gr::HorizontalAlign horizontal,
                gr::VerticalAlign vertical) {
  plot_surface.text.horizontal = horizontal;
  plot_surface.text.vertical = vertical;
  gr::TextStream stream(plot_surface.text);
  stream.move_to(x, y);
  stream << text;
  stream.flush();
}

void begin_drawing(const DisplayState& state) {
  gr::clear_screen(plot_surface.background);
  const int x = state.horizontal_offset;
  const int y = state.vertical_offset;
  gr::set_user_window(-x, y, gr::max_x() - x, gr::max_y() + y);
}

}  // namespace tavrik
