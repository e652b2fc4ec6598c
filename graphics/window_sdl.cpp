// The screen window on SDL2: a module that graphics/window.cpp loads. It links nothing of the
// program: what it knows of it came in by the calls of WindowDriver.

#include <SDL.h>
#include <algorithm>
#include <array>
#include <cstring>

#include "graphics/window.h"

namespace gr {

namespace {

/// The module's one window.
struct ScreenWindow {
  SDL_Window* window = nullptr;
  SDL_Surface* picture = nullptr;  ///< what was presented last, in the canvas's own size
  bool shown = false;
  bool key_repeats = false;          ///< the key that went down last is being held
  bool key_for_desktop = false;      ///< it went down with Ctrl, Alt or the desktop's own key
  int pointer_x = 0, pointer_y = 0;  ///< where the mouse was heard last, or put by the program
};

ScreenWindow screen;

/// Where the canvas is in the window: enlarged by a whole number, and centred where there is room.
struct Placement {
  int scale;
  int x, y;  ///< pixels of the window
};

Placement place(int width, int height) {
  const int scale = std::max(1, std::min(width / screen.picture->w, height / screen.picture->h));
  return {scale, std::max(0, (width - screen.picture->w * scale) / 2),
          std::max(0, (height - screen.picture->h * scale) / 2)};
}

void repaint() {
  SDL_Surface* target = SDL_GetWindowSurface(screen.window);
  if (target == nullptr || screen.picture == nullptr) {
    return;
  }
  constexpr Uint8 border = 64;  // a dark grey, so that the canvas's edge can be seen
  SDL_FillRect(target, nullptr, SDL_MapRGB(target->format, border, border, border));
  const Placement at = place(target->w, target->h);
  SDL_Rect area = {at.x, at.y, screen.picture->w * at.scale, screen.picture->h * at.scale};
  SDL_BlitScaled(screen.picture, nullptr, target, &area);
  SDL_UpdateWindowSurface(screen.window);
}

// -- opening -------------------------------------------------------------------------------------

bool is_x11() {
  return std::strcmp(SDL_GetCurrentVideoDriver(), "x11") == 0;
}

/// By how much a window has to be enlarged to be about as large as on a usual screen. X11 leaves
/// that to its programs; other systems do it themselves.
int usual_scale(int width, int height) {
  constexpr float usual_dots_per_inch = 96;
  float dots_per_inch = usual_dots_per_inch;
  SDL_Rect room;
  if (!is_x11() || SDL_GetDisplayDPI(0, &dots_per_inch, nullptr, nullptr) != 0 ||
      SDL_GetDisplayUsableBounds(0, &room) != 0) {
    return 1;
  }
  const auto wanted = static_cast<int>(dots_per_inch / usual_dots_per_inch);
  return std::max(1, std::min({wanted, room.w / width, room.h / height}));
}

void close_window() {
  SDL_FreeSurface(screen.picture);
  SDL_DestroyWindow(screen.window);
  screen = {};
  SDL_Quit();
}

const char* open_window(int width, int height) {
  close_window();
  // Signals end the program, and the screen is saved, as if there were no window. A driver that
  // shows nothing is taken only if the environment names it.
  SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
  SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
  // Wayland's library complains on the error stream where its server is not running.
  SDL_SetHint(SDL_HINT_VIDEODRIVER, SDL_getenv("WAYLAND_DISPLAY") ? "x11,wayland" : "x11");
  if (SDL_Init(SDL_INIT_VIDEO) != 0) {
    return "could not find suitable video driver";
  }
  if (is_x11()) {
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");  // else the window is replaced when shown
  }
  const int scale = usual_scale(width, height);
  screen.window = SDL_CreateWindow(
      "", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, width * scale, height * scale,
      SDL_WINDOW_HIDDEN | SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
  if (screen.window == nullptr) {
    close_window();
    return "could not find suitable video mode";
  }
  screen.picture = SDL_CreateRGBSurfaceWithFormat(0, width, height, 32, SDL_PIXELFORMAT_XRGB8888);
  if (screen.picture == nullptr || SDL_GetWindowSurface(screen.window) == nullptr) {
    close_window();
    return "could not set color mode";
  }
  SDL_StartTextInput();
  return nullptr;
}

const char* name() {
  return SDL_GetCurrentVideoDriver();
}

void set_title(const char* title) {
  SDL_SetWindowTitle(screen.window, title);
}

// -- showing -------------------------------------------------------------------------------------

void copy_canvas(const Canvas& canvas, const Palette& palette) {
  std::array<Uint32, 256> colors;
  for (std::size_t i = 0; i < colors.size(); ++i) {
    const Rgb& color = palette.colors[i];
    colors[i] = SDL_MapRGB(screen.picture->format, color.red, color.green, color.blue);
  }
  const auto width = static_cast<std::size_t>(canvas.width);
  for (int y = 0; y < canvas.height; ++y) {
    const std::uint8_t* from = canvas.pixels.data() + static_cast<std::size_t>(y) * width;
    auto* to = static_cast<Uint32*>(screen.picture->pixels) +
               static_cast<std::ptrdiff_t>(y) * (screen.picture->pitch / 4);
    std::transform(from, from + width, to, [&](std::uint8_t index) { return colors[index]; });
  }
}

void present_canvas(const Canvas& canvas, const Palette& palette) {
  copy_canvas(canvas, palette);
  if (!screen.shown) {
    SDL_ShowWindow(screen.window);
    int width = 0;
    int height = 0;
    SDL_GetWindowSize(screen.window, &width, &height);
    screen.pointer_x = width / 2;
    screen.pointer_y = height / 2;
    SDL_WarpMouseInWindow(screen.window, screen.pointer_x, screen.pointer_y);
    screen.shown = true;
  }
  repaint();
}

// -- listening -----------------------------------------------------------------------------------

void push_key(EventQueue& events, int key) {
  events.push_back({.kind = EventKind::key, .key = key, .repeated = screen.key_repeats});
}

/// Code of a special key; 0 for a character's key and for keys without a code.
int special_key(SDL_Keycode key) {
  switch (key) {
    case SDLK_RETURN:
    case SDLK_KP_ENTER:
      return key_enter;
    case SDLK_BACKSPACE:
      return key_backspace;
    case SDLK_TAB:
      return key_tab;
    case SDLK_ESCAPE:
      return key_escape;
    case SDLK_F1:
      return key_f1;
    case SDLK_HOME:
      return key_home;
    case SDLK_UP:
      return key_up;
    case SDLK_PAGEUP:
      return key_page_up;
    case SDLK_LEFT:
      return key_left;
    case SDLK_RIGHT:
      return key_right;
    case SDLK_DOWN:
      return key_down;
    case SDLK_PAGEDOWN:
      return key_page_down;
    default:
      return 0;
  }
}

/// What a key of the key pad is without Num Lock; 0 for one that has no meaning then.
int key_pad_key(SDL_Keycode key) {
  switch (key) {
    case SDLK_KP_7:
      return key_home;
    case SDLK_KP_8:
      return key_up;
    case SDLK_KP_9:
      return key_page_up;
    case SDLK_KP_4:
      return key_left;
    case SDLK_KP_6:
      return key_right;
    case SDLK_KP_2:
      return key_down;
    case SDLK_KP_3:
      return key_page_down;
    default:
      return 0;
  }
}

/// Whether the key that has just gone down types a character: its text is the next event then.
bool types_text() {
  SDL_Event next;
  return SDL_PeepEvents(&next, 1, SDL_PEEKEVENT, SDL_FIRSTEVENT, SDL_LASTEVENT) == 1 &&
         next.type == SDL_TEXTINPUT;
}

void hear_key(EventQueue& events, const SDL_KeyboardEvent& key) {
  constexpr int desktop_modifiers = KMOD_CTRL | KMOD_LALT | KMOD_GUI;
  screen.key_repeats = key.repeat != 0;
  screen.key_for_desktop = (key.keysym.mod & desktop_modifiers) != 0;
  int code = special_key(key.keysym.sym);
  if (code == 0 && !types_text()) {
    code = key_pad_key(key.keysym.sym);
  }
  if (code != 0 && !screen.key_for_desktop) {
    push_key(events, code);
  }
}

/// Takes the characters of Latin 1 from typed text, UTF-8. Others have no key code.
void hear_text(EventQueue& events, const char* text) {
  if (screen.key_for_desktop) {
    return;
  }
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte < 0x80) {
      push_key(events, byte);
    } else if ((byte == 0xC2 || byte == 0xC3) && text[1] != '\0') {
      ++text;
      push_key(events, (byte & 3) << 6 | (static_cast<unsigned char>(*text) & 0x3F));
    }
  }
}

/// The pixel of the canvas that a place in the window shows; it may lie outside.
SDL_Point canvas_pixel(int x, int y) {
  int width = 0;
  int height = 0;
  int pixels = 0;
  int pixel_rows = 0;
  SDL_GetWindowSize(screen.window, &width, &height);
  SDL_GetWindowSizeInPixels(screen.window, &pixels, &pixel_rows);
  const Placement at = place(pixels, pixel_rows);
  const int column = x * pixels / std::max(width, 1) - at.x;
  const int row = y * pixel_rows / std::max(height, 1) - at.y;
  return {column < 0 ? -1 : column / at.scale, row < 0 ? -1 : row / at.scale};
}

/// Column of the canvas that a column of the window shows, at most its first or last.
int canvas_column(int x) {
  return std::clamp(canvas_pixel(x, 0).x, 0, screen.picture->w - 1);
}

/// Of several places in a row, the last one counts.
void push_pointer(EventQueue& events, const SDL_Point& pixel) {
  const bool inside =
      pixel.x >= 0 && pixel.y >= 0 && pixel.x < screen.picture->w && pixel.y < screen.picture->h;
  if (!events.empty() && events.back().kind == EventKind::pointer) {
    events.pop_back();
  }
  events.push_back(
      {.kind = EventKind::pointer, .x = inside ? pixel.x : -1, .y = inside ? pixel.y : -1});
}

void hear_motion(EventQueue& events, const SDL_MouseMotionEvent& motion) {
  const bool moved = motion.x != screen.pointer_x || motion.y != screen.pointer_y;
  screen.pointer_x = motion.x;
  screen.pointer_y = motion.y;
  if ((motion.state & SDL_BUTTON_LMASK) != 0) {
    events.push_back({.kind = EventKind::left_motion, .x = canvas_column(motion.x)});
  } else if (moved) {
    push_pointer(events, canvas_pixel(motion.x, motion.y));
  }
}

void hear_window(EventQueue& events, const SDL_WindowEvent& event) {
  if (event.event == SDL_WINDOWEVENT_EXPOSED || event.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
    repaint();
  } else if (event.event == SDL_WINDOWEVENT_LEAVE) {
    push_pointer(events, {-1, -1});
  }
}

void hear(EventQueue& events, const SDL_Event& event) {
  switch (event.type) {
    case SDL_KEYDOWN:
      hear_key(events, event.key);
      break;
    case SDL_TEXTINPUT:
      hear_text(events, event.text.text);
      break;
    case SDL_MOUSEBUTTONDOWN:
      if (event.button.button == SDL_BUTTON_LEFT) {
        events.push_back({.kind = EventKind::left_press, .x = canvas_column(event.button.x)});
      }
      break;
    case SDL_MOUSEMOTION:
      hear_motion(events, event.motion);
      break;
    case SDL_WINDOWEVENT:
      hear_window(events, event.window);
      break;
    case SDL_QUIT:
      events.push_back({.kind = EventKind::close});
      break;
    default:
      break;
  }
}

/// Looks for events, and does not let SDL wait for them: SDL 2.26 wakes itself with a message that
/// can still be on its way when the window is closed, and X11 then ends the program.
void collect(EventQueue& events, bool wait) {
  constexpr Uint32 pause = 10;  // ms; too short to be felt, and next to no work
  SDL_Event event;
  while (SDL_PollEvent(&event) != 0) {
    hear(events, event);
  }
  if (wait && events.empty()) {
    SDL_Delay(pause);
  }
}

constexpr WindowDriver driver = {open_window,    name,    set_title,
                                 present_canvas, collect, close_window};

}  // namespace

}  // namespace gr

extern "C" __attribute__((visibility("default"))) const gr::WindowDriver* tavrik_window_driver_2();

extern "C" const gr::WindowDriver* tavrik_window_driver_2() {
  return &gr::driver;
}
