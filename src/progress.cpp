// Drawing of the progress line.

#include "src/progress.h"

#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <unistd.h>

#include "src/settings.h"

namespace tavrik {

namespace {

/// Clears the line and writes its text. As no message, since it needs the terminal's commands.
void redraw(const std::string& text) {
  std::fputs(("\r\033[K" + text).c_str(), stderr);
}

}  // namespace

Progress::Progress(const char* task)
    : task_(task), enabled_(!settings.quiet && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (shown_) {
    redraw("");
  }
}

void Progress::show(std::size_t done, std::size_t total) {
  if (!enabled_ || done == 0 || Clock::now() < next_) {
    return;
  }
  const std::chrono::duration<double> passed = Clock::now() - start_;
  const double share = static_cast<double>(done) / static_cast<double>(total);
  redraw(fmt::format("{} {:.0f} %, {:.0f} s left", task_, 100 * share,
                     passed.count() * (1 - share) / share));
  shown_ = true;
  next_ = Clock::now() + std::chrono::milliseconds(200);
}

}  // namespace tavrik
