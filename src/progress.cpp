// Drawing of the progress line.

#include "src/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include "src/console.h"
#include "src/settings.h"

namespace tavrik {

Progress::Progress(const char* task)
    : task_(task), enabled_(!settings.quiet && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (shown_) {
    write_message("\r\033[K");
  }
}

void Progress::show(std::size_t done, std::size_t total) {
  if (!enabled_ || done == 0 || Clock::now() < next_) {
    return;
  }
  const std::chrono::duration<double> passed = Clock::now() - start_;
  const double share = static_cast<double>(done) / static_cast<double>(total);
  write_message(fmt::format("\r\033[K{} {:.0f} %, {:.0f} s left", task_, 100 * share,
                            passed.count() * (1 - share) / share));
  shown_ = true;
  next_ = Clock::now() + std::chrono::milliseconds(200);
}

}  // namespace tavrik
