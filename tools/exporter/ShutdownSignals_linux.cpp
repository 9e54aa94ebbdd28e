#include <pthread.h>
#include <signal.h>

#include "ShutdownSignals.h"

namespace Exporter {

namespace {

sigset_t StopSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  return set;
}

}  // namespace

ShutdownSignals::ShutdownSignals() {
  const sigset_t set = StopSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

int ShutdownSignals::Wait() {
  const sigset_t set = StopSignals();
  int signal = 0;
  while (sigwait(&set, &signal) != 0) {
  }
  return signal;
}

}  // namespace Exporter
