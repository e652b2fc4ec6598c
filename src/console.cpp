// Writing to the error stream.

#include "src/console.h"

#include <cstdio>
#include <string>

namespace tavrik {

void write_message(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void fail_with_error_text(const char* function) {
  std::perror(function);
  end_process(1);
  std::abort();
}

void write_trace(const char* module, int line, std::string_view message) {
  std::string text = fmt::format("{}:{}:: debug: {}", module, line, message);
  if (text.back() != '\n') {
    text += '\n';
  }
  write_message(text);
}

}  // namespace tavrik
