// A virtual X server and a user, by Xlib and its test extension.

#include "tests/support/virtual_screen.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <span>
#include <stdexcept>
#include <thread>

namespace support {

namespace {

/// Writes its number once it is ready, and ends with its last client: with the test, however that
/// ends.
constexpr const char* server_command =
    "exec Xvfb -displayfd 3 -screen 0 1800x1300x24 -terminate 3>&1 >/dev/null 2>&1";

/// Whether something becomes true in time.
bool becomes_true(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(5);
  bool is_true = condition();
  while (!is_true && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    is_true = condition();
  }
  return is_true;
}

/// A window may be gone at any time, which is no reason to end the test.
int ignore_error(Display*, XErrorEvent*) {
  return 0;
}

/// Whether a title is this one, or begins so where that ends in "*".
bool fits(std::string_view title, std::string_view wanted) {
  return wanted.ends_with('*') ? title.starts_with(wanted.substr(0, wanted.size() - 1))
                               : title == wanted;
}

/// The window that can be seen and has such a title; 0 if there is none.
Window find_window(Display* display, std::span<const Window> windows, const std::string& title) {
  for (const Window window : windows) {
    XWindowAttributes attributes;
    char* name = nullptr;
    const bool found = XGetWindowAttributes(display, window, &attributes) != 0 &&
                       attributes.map_state == IsViewable &&
                       XFetchName(display, window, &name) != 0 && fits(name, title);
    XFree(name);
    if (found) {
      return window;
    }
  }
  return 0;
}

}  // namespace

VirtualScreen::VirtualScreen() : server_(popen(server_command, "re")) {
  char number[16] = "";
  if (server_ == nullptr || std::fscanf(server_, "%15[0-9]", number) != 1) {
    throw std::runtime_error("no virtual X server: is Xvfb installed?");
  }
  const std::string name = std::string(":") + number;
  display_ = XOpenDisplay(name.c_str());
  XSetErrorHandler(ignore_error);
  XSelectInput(display_, DefaultRootWindow(display_), SubstructureNotifyMask);
  XSync(display_, False);
  setenv("DISPLAY", name.c_str(), 1);
  setenv("SDL_MOUSE_FOCUS_CLICKTHROUGH", "1", 1);  // a click may come soon after the focus
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("SDL_VIDEODRIVER");
}

VirtualScreen::~VirtualScreen() {
  XCloseDisplay(display_);
  pclose(server_);
}

bool VirtualScreen::wait_for_window(const std::string& title) {
  const bool found = becomes_true([&] {
    Window ignored = 0;
    Window* windows = nullptr;
    unsigned count = 0;
    XQueryTree(display_, DefaultRootWindow(display_), &ignored, &ignored, &windows, &count);
    window_ = find_window(display_, {windows, count}, title);
    XFree(windows);
    return window_ != 0;
  });
  XSetInputFocus(display_, window_, RevertToPointerRoot, CurrentTime);
  XSync(display_, False);
  return found;
}

bool VirtualScreen::has_shown_a_window() const {
  XEvent event;
  XSync(display_, False);
  return XCheckTypedEvent(display_, MapNotify, &event) != 0;
}

void VirtualScreen::press(unsigned code, bool down) const {
  if (code != 0) {
    XTestFakeKeyEvent(display_, code, down ? True : False, CurrentTime);
    XSync(display_, False);
  }
  // Faster than this is not a hand but a keyboard that repeats a held key.
  std::this_thread::sleep_for(std::chrono::milliseconds(3));
}

void VirtualScreen::type(const std::string& key, const std::string& held) const {
  const KeySym keysym = XStringToKeysym(key.c_str());
  const KeyCode code = XKeysymToKeycode(display_, keysym);
  if (code == 0) {
    throw std::runtime_error("the keyboard lacks the key " + key);
  }
  const bool shifted = XkbKeycodeToKeysym(display_, code, 0, 0) != keysym &&
                       XkbKeycodeToKeysym(display_, code, 0, 1) == keysym && !IsKeypadKey(keysym);
  const KeyCode modifier =
      XKeysymToKeycode(display_, shifted ? XK_Shift_L : XStringToKeysym(held.c_str()));
  press(modifier, true);
  press(code, true);
  press(code, false);
  press(modifier, false);
}

void VirtualScreen::point(int x, int y) const {
  XWarpPointer(display_, None, window_, 0, 0, 0, 0, x, y);
  XSync(display_, False);
}

void VirtualScreen::drag(const std::vector<int>& ways) const {
  constexpr unsigned left = 1;
  XTestFakeRelativeMotionEvent(display_, 1, 0, CurrentTime);  // the mouse comes from somewhere
  XTestFakeButtonEvent(display_, left, True, CurrentTime);
  for (const int way : ways) {
    XTestFakeRelativeMotionEvent(display_, way, 0, CurrentTime);
  }
  XTestFakeButtonEvent(display_, left, False, CurrentTime);
  XSync(display_, False);
}

void VirtualScreen::close_window() const {
  XEvent event = {};
  event.xclient.type = ClientMessage;
  event.xclient.window = window_;
  event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
  XSendEvent(display_, window_, False, NoEventMask, &event);
  XSync(display_, False);
}

void VirtualScreen::resize_window(int columns, int rows) const {
  XMoveResizeWindow(display_, window_, 0, 0, static_cast<unsigned>(columns),
                    static_cast<unsigned>(rows));
  XSync(display_, False);
}

void VirtualScreen::cover_window() const {
  const Window cover =
      XCreateSimpleWindow(display_, DefaultRootWindow(display_), 0, 0, 1800, 1300, 0, 0, 0);
  XMapRaised(display_, cover);
  XSync(display_, False);
  XDestroyWindow(display_, cover);
  XSync(display_, False);
}

Image VirtualScreen::image() const {
  XWindowAttributes attributes = {};
  XGetWindowAttributes(display_, window_, &attributes);
  XImage* shown = XGetImage(display_, window_, 0, 0, static_cast<unsigned>(attributes.width),
                            static_cast<unsigned>(attributes.height), 0xFFFFFF, ZPixmap);
  if (shown == nullptr) {
    return {};
  }
  const auto* pixels = reinterpret_cast<const std::uint32_t*>(shown->data);
  const auto size = static_cast<std::ptrdiff_t>(shown->width) * shown->height;
  Image image = {shown->width, shown->height, {pixels, pixels + size}};
  XDestroyImage(shown);
  return image;
}

bool VirtualScreen::wait_for_image(const Image& expected) const {
  const bool shown = becomes_true([&] { return image() == expected; });
  expect_same("window", shown ? expected : image(), expected);
  return shown;
}

}  // namespace support
