// The way to the window's module.

#include "graphics/window.h"

#include <dlfcn.h>

#include "graphics/mode.h"

namespace gr {

const WindowDriver* load_window_driver() {
  void* module = dlopen(window_module, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    return nullptr;
  }
  auto* entry = reinterpret_cast<WindowEntry*>(dlsym(module, window_entry));
  return entry == nullptr ? nullptr : entry();
}

void present() {
  if (graphics.window != nullptr) {
    graphics.window->present(graphics.canvas, graphics.palette);
  }
}

void set_window_title(const char* title) {
  if (graphics.window != nullptr) {
    graphics.window->set_title(title);
  }
}

}  // namespace gr
