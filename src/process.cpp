// Guards around the run.

#include "src/process.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <fmt/format.h>

#include "src/console.h"
#include "src/results.h"

namespace tavrik {

namespace {

/// The data file being read; null between files.
const std::string* file_being_read = nullptr;

/// The message of the error that ends the process; empty if there is none.
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
  close_result_files();
  std::string message = "Error: ";
  if (file_being_read != nullptr) {
    message += *file_being_read + ": ";
  }
  message += current_error();
  if (message.back() != '\n') {
    message += '\n';
  }
  write_message(message);
  std::abort();
}

}  // namespace

ReadingFile::ReadingFile(const std::string& path) {
  file_being_read = &path;
}

ReadingFile::~ReadingFile() {
  file_being_read = nullptr;
}

void guard_process() {
  int descriptor = 0;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= 2);
  if (descriptor > 2) {
    close(descriptor);
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::atexit(close_result_files);
  std::set_terminate(tell_and_abort);
}

}  // namespace tavrik
