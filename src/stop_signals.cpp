// The handlers of these signals.

#include "src/stop_signals.h"

#include <csignal>

namespace tavrik {

namespace {

constexpr int signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGALRM, SIGXCPU, SIGUSR1, SIGUSR2};

volatile std::sig_atomic_t came = 0;

void remember(int signal) {
  came = signal;
}

/// Gives all signals that have one handler another one. A wait that a signal interrupts is not
/// begun again, so that its caller can give up.
void replace_handlers(void (*old_handler)(int), void (*new_handler)(int)) {
  struct sigaction wanted {};

  wanted.sa_handler = new_handler;
  for (const int signal : signals) {
    struct sigaction present {};

    if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == old_handler) {
      sigaction(signal, &wanted, nullptr);
    }
  }
}

}  // namespace

StopSignals::StopSignals() {
  replace_handlers(SIG_DFL, remember);
}

StopSignals::~StopSignals() {
  replace_handlers(remember, SIG_DFL);
  if (came != 0) {
    std::raise(came);
  }
}

int stop_signal() {
  return came;
}

}  // namespace tavrik
