// A virtual X server and a user, by Xlib and its test extension.

#include "tests/support/virtual_screen.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace support {

namespace {

constexpr std::chrono::seconds patience(20);

/// Whether something becomes true in time.
bool becomes_true(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

/// In the child: becomes the server, which tells its number on this descriptor, and which ends with
/// the test.
[[noreturn]] void become_server(int descriptor) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  const std::string number = std::to_string(descriptor);
  const std::string size =
      std::to_string(VirtualScreen::width) + "x" + std::to_string(VirtualScreen::height) + "x24";
  execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", size.c_str(), "-noreset",
         nullptr);
  _exit(127);
}

/// The line that the server writes once it is ready.
std::string read_line(int descriptor) {
  std::string line;
  char byte = 0;
  while (read(descriptor, &byte, 1) == 1 && byte != '\n') {
    line += byte;
  }
  return line;
}

/// A window may be gone at any time, which is no reason to end the test.
int ignore_error(Display*, XErrorEvent*) {
  return 0;
}

std::string title_of(Display* display, Window window) {
  char* name = nullptr;
  std::string title;
  if (XFetchName(display, window, &name) != 0) {
    title = name;
    XFree(name);
  }
  return title;
}

bool can_be_seen(Display* display, Window window) {
  XWindowAttributes attributes;
  return XGetWindowAttributes(display, window, &attributes) != 0 &&
         attributes.map_state == IsViewable && attributes.c_class == InputOutput;
}

std::vector<Window> windows_of(Display* display) {
  Window root = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned count = 0;
  XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count);
  std::vector<Window> windows(children, children + count);
  if (children != nullptr) {
    XFree(children);
  }
  return windows;
}

void write_ppm(const Image& image, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  file << "P6 " << image.width << ' ' << image.height << " 255\n";
  for (const std::uint32_t pixel : image.pixels) {
    file << static_cast<char>(pixel >> 16) << static_cast<char>(pixel >> 8)
         << static_cast<char>(pixel);
  }
}

}  // namespace

Image to_image(const gr::Picture& picture) {
  Image image = {picture.context.width, picture.context.height, {}};
  for (const std::uint8_t index : picture.context.pixels) {
    const gr::Rgb& color = picture.palette.colors.at(index);
    image.pixels.push_back(static_cast<std::uint32_t>(color.red) << 16 |
                           static_cast<std::uint32_t>(color.green) << 8 | color.blue);
  }
  return image;
}

VirtualScreen::VirtualScreen() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    throw std::runtime_error("pipe");
  }
  server_ = fork();
  if (server_ == 0) {
    close(ends[0]);
    become_server(ends[1]);
  }
  close(ends[1]);
  const std::string name = ":" + read_line(ends[0]);
  close(ends[0]);
  display_ = XOpenDisplay(name.c_str());
  if (display_ == nullptr) {
    throw std::runtime_error("no virtual X server: is Xvfb installed?");
  }
  XSetErrorHandler(ignore_error);
  XSelectInput(display_, DefaultRootWindow(display_), SubstructureNotifyMask);
  setenv("DISPLAY", name.c_str(), 1);
  unsetenv("WAYLAND_DISPLAY");
  unsetenv("SDL_VIDEODRIVER");
}

VirtualScreen::~VirtualScreen() {
  if (display_ != nullptr) {
    XCloseDisplay(display_);
  }
  kill(server_, SIGTERM);
  waitpid(server_, nullptr, 0);
}

bool VirtualScreen::find_window(const std::string& title) {
  for (const Window window : windows_of(display_)) {
    if (can_be_seen(display_, window) && title_of(display_, window) == title) {
      window_ = window;
      XSetInputFocus(display_, window_, RevertToPointerRoot, CurrentTime);
      XSync(display_, False);
      // A click that comes with the focus is not meant for what is in the window.
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      return true;
    }
  }
  return false;
}

bool VirtualScreen::wait_for_window(const std::string& title) {
  return becomes_true([&] { return find_window(title); });
}

std::string VirtualScreen::title() const {
  return title_of(display_, window_);
}

bool VirtualScreen::has_shown_a_window() const {
  XEvent event;
  XSync(display_, False);
  return XCheckTypedEvent(display_, MapNotify, &event) != 0;
}

void VirtualScreen::press(unsigned long keysym, bool down) const {
  const KeyCode code = XKeysymToKeycode(display_, keysym);
  if (code == 0) {
    throw std::runtime_error("the keyboard lacks a key");
  }
  const bool shifted = XkbKeycodeToKeysym(display_, code, 0, 0) != keysym &&
                       XkbKeycodeToKeysym(display_, code, 0, 1) == keysym && !IsKeypadKey(keysym);
  const KeyCode shift = XKeysymToKeycode(display_, XK_Shift_L);
  if (shifted && down) {
    XTestFakeKeyEvent(display_, shift, True, CurrentTime);
  }
  XTestFakeKeyEvent(display_, code, down ? True : False, CurrentTime);
  if (shifted && !down) {
    XTestFakeKeyEvent(display_, shift, False, CurrentTime);
  }
  XSync(display_, False);
  // Faster than this is not a hand but a keyboard that repeats a held key.
  std::this_thread::sleep_for(std::chrono::milliseconds(3));
}

void VirtualScreen::type(const std::string& key) const {
  const KeySym keysym = XStringToKeysym(key.c_str());
  press(keysym, true);
  press(keysym, false);
}

void VirtualScreen::type_with(const std::string& held, const std::string& key) const {
  const KeySym keysym = XStringToKeysym(held.c_str());
  press(keysym, true);
  type(key);
  press(keysym, false);
}

void VirtualScreen::drag(const std::vector<int>& columns) const {
  constexpr unsigned left = 1;
  constexpr int row = 300;
  int x = 0;
  int y = 0;
  Window child = 0;
  XTranslateCoordinates(display_, window_, DefaultRootWindow(display_), 0, row, &x, &y, &child);
  XTestFakeMotionEvent(display_, -1, x + columns.front(), y, CurrentTime);
  XTestFakeButtonEvent(display_, left, True, CurrentTime);
  for (std::size_t i = 1; i < columns.size(); ++i) {
    XTestFakeMotionEvent(display_, -1, x + columns[i], y, CurrentTime);
    XSync(display_, False);
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
  XSetWindowAttributes attributes = {};
  attributes.override_redirect = True;
  const Window cover =
      XCreateWindow(display_, DefaultRootWindow(display_), 0, 0, width, height, 0, CopyFromParent,
                    InputOutput, CopyFromParent, CWOverrideRedirect, &attributes);
  XMapRaised(display_, cover);
  XSync(display_, False);
  XDestroyWindow(display_, cover);
  XSync(display_, False);
}

Image VirtualScreen::image() const {
  XWindowAttributes attributes;
  if (XGetWindowAttributes(display_, window_, &attributes) == 0) {
    return {};
  }
  XImage* picture = XGetImage(display_, window_, 0, 0, static_cast<unsigned>(attributes.width),
                              static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap);
  if (picture == nullptr) {
    return {};
  }
  Image image = {attributes.width, attributes.height, {}};
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      image.pixels.push_back(static_cast<std::uint32_t>(XGetPixel(picture, x, y)) & 0xFFFFFF);
    }
  }
  XDestroyImage(picture);
  return image;
}

bool VirtualScreen::wait_for_image(const Image& expected) const {
  const bool shown = becomes_true([&] { return image() == expected; });
  if (!shown) {
    write_ppm(image(), std::string(TAVRIK_PICTURE_OUTPUT) + "/window.actual.ppm");
    write_ppm(expected, std::string(TAVRIK_PICTURE_OUTPUT) + "/window.expected.ppm");
  }
  return shown;
}

}  // namespace support
