// Drawing of the progress line, and telling of the progress.

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
  constexpr std::chrono::seconds short_task(1);
  const Clock::time_point now = Clock::now();
  if (done == 0 || now < next_) {
    return;
  }
  next_ = now + pause;
  const double share = static_cast<double>(done) / static_cast<double>(total);
  progress_listener(task_, share);
  if (enabled_ && now >= start_ + short_task) {
    const std::chrono::duration<double> passed = now - start_;
    redraw(fmt::format("{} {:.0f} %, {:.0f} s left", task_, 100 * share,
                       passed.count() * (1 - share) / share));
    shown_ = true;
  }
}

}  // namespace tavrik
