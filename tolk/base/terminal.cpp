// The password prompt: echo off, signals handled, memory locked.
#include "tolk/base/terminal.h"
#include "tolk/base/exceptions.h"

#include <fcntl.h>
#include <poll.h>
#include <string.h>  // explicit_bzero
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string_view>

#include "tolk/base/handle.h"
#include "tolk/base/locked_memory.h"

namespace {

constexpr std::size_t kMaxPasswordBytes = 1024;
// Not SIGTTIN and SIGTTOU: their own action stops a background process before it touches the
// terminal.
constexpr std::array kCaughtSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

volatile std::sig_atomic_t caughtSignal = 0;

void rememberSignal(int signal) {
  caughtSignal = signal;
}

// While it lives the signals above are remembered instead of acted on, and delivered in
// waitForInput only, so that none can slip in between a look at `caughtSignal` and the wait.
class SignalGuard {
 public:
  SignalGuard() {
    caughtSignal = 0;
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : kCaughtSignals) sigaddset(&blocked, signal);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &formerMask_);
    struct sigaction action {};
    action.sa_handler = rememberSignal;  // no SA_RESTART: the wait must end
    for (std::size_t i = 0; i < kCaughtSignals.size(); ++i) {
      ::sigaction(kCaughtSignals[i], nullptr, &former_[i]);
      // An ignored signal (nohup) stays ignored.
      if (former_[i].sa_handler != SIG_IGN) ::sigaction(kCaughtSignals[i], &action, nullptr);
    }
  }
  SignalGuard(const SignalGuard&) = delete;
  SignalGuard& operator=(const SignalGuard&) = delete;
  ~SignalGuard() {
    for (std::size_t i = 0; i < kCaughtSignals.size(); ++i) {
      ::sigaction(kCaughtSignals[i], &former_[i], nullptr);
    }
    ::pthread_sigmask(SIG_SETMASK, &formerMask_, nullptr);
  }

  // Waits until `fd` can be read; false when a signal came instead.
  [[nodiscard]] bool waitForInput(int fd) const {
    sigset_t open = formerMask_;
    for (const int signal : kCaughtSignals) sigdelset(&open, signal);
    for (;;) {
      pollfd one{fd, POLLIN, 0};
      const int ready = ::ppoll(&one, 1, nullptr, &open);
      if (caughtSignal != 0) return false;
      if (ready > 0) return true;
      if (ready < 0 && errno != EINTR) return true;  // the read will say what is wrong
    }
  }

 private:
  sigset_t formerMask_{};
  std::array<struct sigaction, kCaughtSignals.size()> former_{};
};

// Switches the terminal's echo off and back on; does nothing on what is no terminal.
class EchoOff {
 public:
  explicit EchoOff(int fd) : fd_(fd) {
    if (::tcgetattr(fd, &former_) != 0) return;
    termios silent = former_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    // TCSAFLUSH drops what was typed before the prompt, when echo was still on.
    active_ = ::tcsetattr(fd, TCSAFLUSH, &silent) == 0;
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;
  ~EchoOff() {
    if (active_) ::tcsetattr(fd_, TCSAFLUSH, &former_);
  }
  [[nodiscard]] bool active() const noexcept { return active_; }

 private:
  int fd_;
  termios former_{};
  bool active_ = false;
};

void writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = ::write(fd, text.data(), text.size());
    if (sent <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
}

// Reads up to the line end into the zeroed `buffer`, which holds kMaxPasswordBytes and a NUL. False
// when a signal came.
bool readLine(int fd, const SignalGuard& signals, char* buffer) {
  std::size_t length = 0;
  char c = '\0';
  for (;;) {
    if (!signals.waitForInput(fd)) return false;
    const ssize_t got = ::read(fd, &c, 1);
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (got <= 0 || c == '\n' || c == '\r') break;
    if (length < kMaxPasswordBytes) buffer[length] = c;
    ++length;
  }
  ::explicit_bzero(&c, sizeof c);
  if (length > kMaxPasswordBytes) ::explicit_bzero(buffer, kMaxPasswordBytes);
  return true;
}

// One prompt and its answer; false when a signal came. Echo and signals are as before when it
// returns.
bool ask(int input, int output, const char* prompt, char* buffer) {
  const SignalGuard signals;
  const EchoOff silence(input);
  writeAll(output, prompt);
  const bool answered = readLine(input, signals, buffer);
  if (silence.active()) writeAll(output, "\n");
  return answered;
}

}  // namespace

char* orv_getpass(const char* prompt) {
  static auto* const memory = new tolk::LockedMemory(kMaxPasswordBytes + 1);
  const tolk::UniqueFd terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
  const int input = terminal ? terminal.get() : STDIN_FILENO;
  const int output = terminal ? terminal.get() : STDERR_FILENO;
  memory->wipe();
  while (!ask(input, output, prompt, memory->data())) {
    memory->wipe();
    const int signal = caughtSignal;
    std::raise(signal);  // with its former action: ends or stops the process, or calls the caller's
                         // handler
    if (signal != SIGTSTP) break;
  }
  return memory->data();
}

namespace tolk {

Shredder promptPassword(const char* prompt) {
  char* const answer = orv_getpass(prompt);
  Shredder password{std::string_view(answer)};
  ::explicit_bzero(answer, ::strlen(answer));
  return password;
}

Shredder readSecretLine() {
  constexpr std::size_t kMostBytes = 1024;
  LockedMemory memory(kMostBytes + 1);
  std::size_t length = 0;
  while (length <= kMostBytes) {
    const ssize_t got = ::read(STDIN_FILENO, memory.data() + length, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw IOException("Cannot read standard input", errno);
    if (got == 0 || memory.data()[length] == '\n') {
      if (length > 0 && memory.data()[length - 1] == '\r') --length;
      return Shredder(std::string_view(memory.data(), length));
    }
    ++length;
  }
  throw IOException("The line is longer than 1024 bytes", EFBIG);
}

}  // namespace tolk
