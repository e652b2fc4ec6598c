// The way to the window's module.

#include "graphics/window.h"

#include <dlfcn.h>
#include <filesystem>
#include <string>
#include <system_error>

#include "graphics/mode.h"
#include "graphics/text.h"

namespace gr {

namespace {

/// The module's full path, empty if it can't be told. A name alone would be searched for where the
/// environment says, even in the current folder, whose files may be anybody's.
std::string module_path() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? "" : (program.parent_path() / TAVRIK_WINDOW_FOLDER / window_module).string();
}

}  // namespace

const WindowDriver* load_window_driver() {
  const std::string path = module_path();
  void* module = path.empty() ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
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

void set_window_title(const std::string& title) {
  if (graphics.window != nullptr) {
    graphics.window->set_title(to_utf8(title).c_str());
  }
}

}  // namespace gr
