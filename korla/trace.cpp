// Writing of messages and trace lines.

#include "korla/trace.h"

#include <cstdio>
#include <string>

namespace KorLa {

void write_message(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void write_trace(const char* module, int line, std::string_view message) {
  std::string text = fmt::format("Debug:{}({}) {}", module, line, message);
  if (text.back() != '\n') {
    text += '\n';
  }
  write_message(text);
}

}  // namespace KorLa
