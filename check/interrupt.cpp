// Blocked signals wait for signalfd(2); a blocked one that nobody reads would be lost on the user.
#include "check/interrupt.h"

#include <pthread.h>
#include <sys/signalfd.h>

#include <csignal>

namespace joinscope::check {
namespace {

sigset_t bothSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

}  // namespace

Interrupt::Interrupt() {
  const sigset_t signals = bothSignals();
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signals_.reset(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

const char* Interrupt::take() {
  signalfd_siginfo info{};
  if (::read(signals_.get(), &info, sizeof info) != sizeof info) return "";
  const sigset_t signals = bothSignals();
  ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  return info.ssi_signo == SIGINT ? "SIGINT" : "SIGTERM";
}

}  // namespace joinscope::check
