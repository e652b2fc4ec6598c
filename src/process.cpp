// Guards around the run.

#include "src/process.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "src/console.h"
#include "src/file_being_read.h"
#include "src/results.h"

namespace tavrik {

namespace {

/// The message of the error that ends the process; empty for an end without an error.
std::string current_error() {
  const std::exception_ptr error = std::current_exception();
  if (!error) {
    return "";
  }
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown error";
  }
}

/// Ends the process abnormally, as any error does that nothing catches.
[[noreturn]] void tell_and_abort() {
  abandon_result_files();
  const std::string error = current_error();
  std::string message = "Error: ";
  const std::string* file = file_being_read();
  if (file != nullptr && error.find(*file) == std::string::npos) {
    message += *file + ": ";
  }
  write_line(message + error);
  std::abort();
}

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
  std::set_terminate(tell_and_abort);
}

}  // namespace tavrik
