// Ending the program with the system's own words.

#include "src/console.h"

#include <cstdio>

namespace tavrik {

void fail_with_error_text(const char* function) {
  std::perror(function);
  end_process(1);
  std::abort();
}

}  // namespace tavrik
