#pragma once
// The progress line of a long analysis. Used by the analysis alone.

#include <chrono>
#include <cstddef>

namespace tavrik {

/// One self-overwriting line with the task, percent and time left on the error stream; only when
/// that is a terminal, without --quiet, and after the first second.
class Progress {
 public:
  /// task: what goes on, such as "reading".
  explicit Progress(const char* task);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Clears the line.
  ~Progress();

  /// Shows how far the work is. Cheap enough to be called some hundred times a second.
  void show(std::size_t done, std::size_t total);

 private:
  using Clock = std::chrono::steady_clock;

  const char* task_;
  bool enabled_;
  bool shown_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_ + std::chrono::seconds(1);
};

}  // namespace tavrik
