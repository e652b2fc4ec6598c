// Writing of trace lines.

#include "korla/trace.h"

#include <cstdio>
#include <string>

namespace KorLa {

void write_trace(const char* module, int line, std::string_view message) {
  std::string text = fmt::format("Debug:{}({}) {}", module, line, message);
  if (text.back() != '\n') {
    text += '\n';
  }
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace KorLa
