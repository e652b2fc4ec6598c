#pragma once

// Signals that end the process, such as that of Ctrl-C: work that must not be cut short remembers
// them, brings its files to a good end, and lets them do their work then.

namespace tavrik {

/// While it exists, such a signal is remembered. At its end the process ends by the one that came,
/// as it would have at once. Signals that are ignored, as after nohup, stay so.
class StopSignals {
 public:
  StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals();
};

/// The signal that came; 0 while none did.
int stop_signal();

}  // namespace tavrik
