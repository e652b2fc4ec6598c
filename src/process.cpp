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

/// The file being read; null between files.
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
  const std::string error = current_error();
  std::string message = "Error: ";
  if (file_being_read != nullptr && error.find(*file_being_read) == std::string::npos) {
    message += *file_being_read + ": ";
  }
  message += error;
  if (message.back() != '\n') {
    message += '\n';
  }
  write_message(message);
  std::abort();
}

}  // namespace

ReadingFile::ReadingFile(const std::string& path) : outer_(file_being_read) {
  file_being_read = &path;
}

ReadingFile::~ReadingFile() {
  file_being_read = outer_;
}

void guard_process() {
  int descriptor = 0;
  do {
    descriptor = open("/dev/null", O_RDONLY);  // what is written to it is reported as lost
  } while (descriptor >= 0 && descriptor <= 2);
  if (descriptor > 2) {
    close(descriptor);
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::atexit(close_result_files);
  std::set_terminate(tell_and_abort);
}

}  // namespace tavrik
