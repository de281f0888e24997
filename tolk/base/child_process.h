// Child processes with a limit on their time.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "tolk/base/handle.h"

namespace tolk {

/// What spawnfv() returns for a program that cannot be run, for one that was ended at its limit,
/// and for one that was ended because this process shall end; the numbers are those of sh(1) and
/// timeout(1).
inline constexpr int kCannotRun = 127;
inline constexpr int kTimedOut = 124;
inline constexpr int kInterrupted = 130;

/// Holds the signals that would end this process back while it lives, and lets them come then.
class HeldSignals {
 public:
  HeldSignals();
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;
  ~HeldSignals();

  /// Whether such a signal is waiting.
  [[nodiscard]] bool pending() const noexcept;
  /// Can be read when one is.
  [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

 private:
  sigset_t before_{};
  UniqueFd descriptor_;
};

/// A program in a process group of its own, with an environment of a PATH and little more. The
/// group is ended with this object, by SIGTERM and, seconds later, SIGKILL; a signal that ends this
/// process does so after it.
class ChildProcess {
 public:
  /// Starts `arguments[0]`, a path, with standard output on `output` when that is not -1. Throws
  /// IOException when it cannot fork; a program that cannot be run says so on standard error and
  /// ends with kCannotRun.
  explicit ChildProcess(std::vector<std::string> arguments, int output = -1);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  /// Waits until `descriptor` can be read; false when the deadline, or a signal that shall end this
  /// process, comes first.
  [[nodiscard]] bool ready(int descriptor, std::chrono::steady_clock::time_point deadline) const;
  /// Waits for the end; at the deadline, or when a signal shall end this process, ends the whole
  /// group. The exit status, 128 and the signal's number, kTimedOut or kInterrupted.
  int wait(std::chrono::steady_clock::time_point deadline);

 private:
  static std::size_t readable(std::array<int, 2> descriptors,
                              std::chrono::steady_clock::time_point deadline);
  void endGroup() const noexcept;
  int reap() noexcept;

  HeldSignals signals_;  // first: lets the signals come when all else is done
  pid_t pid_ = -1;       // -1 when it has been waited for
  UniqueFd process_;
};

/// Runs a program without a shell and waits for it, at most PN::SUPPORT_COMMAND_TIMEOUT, with this
/// process's standard streams: flush them before. Its exit status as ChildProcess::wait gives it,
/// or -1 when it cannot fork. A program that is ended at the limit is named on standard error.
int spawnfv(const std::vector<std::string>& arguments);

}  // namespace tolk
