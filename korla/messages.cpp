// Writing of messages.

#include "korla/messages.h"

#include <cstdio>

namespace KorLa {

void write_message(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void write_line(std::string text) {
  if (text.back() != '\n') {
    text += '\n';
  }
  write_message(text);
}

}  // namespace KorLa
