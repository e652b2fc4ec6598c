// Guards around the run.

#include "src/process.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>

#include "src/console.h"
#include "src/file_being_read.h"
#include "src/results.h"

namespace tavrik {

namespace {

constexpr const char* no_memory = "out of memory";

/// Writes the message of the error that ends the process, in pieces: to put them together would
/// take memory.
void tell(const char* error) {
  const std::string* file = file_being_read();
  write_message("Error: ");
  if (file != nullptr && std::strstr(error, file->c_str()) == nullptr) {
    write_message(*file);
    write_message(": ");
  }
  write_message(error);
  if (!std::string_view(error).ends_with('\n')) {
    write_message("\n");
  }
}

void tell_current_error() {
  if (!std::current_exception()) {
    tell(no_memory);  // not even for an exception: nothing else ends the process without one
    return;
  }
  try {
    throw;  // what std::rethrow_exception does takes memory
  } catch (const std::bad_alloc&) {
    tell(no_memory);
  } catch (const std::exception& exception) {
    tell(exception.what());
  } catch (...) {
    tell("unknown error");
  }
}

/// Ends the process abnormally, as any error does that nothing catches.
[[noreturn]] void tell_and_abort() {
  try {
    abandon_result_files();
  } catch (const std::bad_alloc&) {
    // Lines are lost, and that can't be said. The error itself still can.
  }
  tell_current_error();
  std::abort();
}

void tell_errors() {
  std::set_terminate(tell_and_abort);
}

/// Static objects take memory, too, also those of libraries: this is called before any is made.
[[gnu::section(".preinit_array"), gnu::used]] void (*const first_of_all)() = tell_errors;

}  // namespace

void guard_process() {
  int descriptor = 0;
  do {
    descriptor = open("/dev/null", O_RDONLY);  // what is written to it is reported as lost
  } while (descriptor >= 0 && descriptor <= 2);
  if (descriptor > 2) {
    close(descriptor);
  }
  // A closed pipe and a file that may not grow are failed writes.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::atexit(abandon_result_files);
}

}  // namespace tavrik
