#pragma once
// What goes on between a long analysis and its user: a progress line one way, the wish to end the
// run the other way.

#include <chrono>
#include <cstddef>

namespace tavrik {

/// Whether the user wants the run to end: asked before every file and some hundred times a second
/// meanwhile. The driver sets it where there is a window to close.
inline bool (*end_is_wanted)() = [] { return false; };

/// Told how far a long task is, as a share of 1, five times a second. The driver sets it where
/// there is a window whose caption can show it.
inline void (*progress_listener)(const char* task, double share) = [](const char*, double) {};

/// One self-overwriting line with the task, percent and time left on the error stream; only when
/// that is a terminal, without --quiet, and after the first second. The listener is told either
/// way.
class Progress {
 public:
  /// task: what goes on, such as "reading". Must outlive the line.
  explicit Progress(const char* task);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Clears the line.
  ~Progress();

  /// Shows how far the work is: `done` of `total` parts, which is at least 1. Cheap enough to be
  /// called some hundred times a second.
  void show(std::size_t done, std::size_t total);

 private:
  using Clock = std::chrono::steady_clock;

  static constexpr std::chrono::milliseconds pause{200};

  const char* task_;
  bool enabled_;
  bool shown_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_ + pause;
};

}  // namespace tavrik
