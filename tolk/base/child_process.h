// Child processes with a limit on their time.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "tolk/base/handle.h"

namespace tolk {

/// What spawnfv() returns for a program that cannot be run, and for one that was ended at its
/// limit; the numbers are those of sh(1) and timeout(1).
inline constexpr int kCannotRun = 127;
inline constexpr int kTimedOut = 124;

/// A program in a process group of its own. The group is ended with this object.
class ChildProcess {
 public:
  /// Starts `arguments[0]`, a path, with standard output on `output` when that is not -1. Throws
  /// IOException when it cannot fork; a program that cannot be run says so on standard error and
  /// ends with kCannotRun.
  explicit ChildProcess(const std::vector<std::string>& arguments, int output = -1);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  /// Waits for the end; at the deadline ends the whole group. The exit status, 128 and the signal's
  /// number, or kTimedOut.
  int wait(std::chrono::steady_clock::time_point deadline);

 private:
  [[nodiscard]] bool endsBefore(std::chrono::steady_clock::time_point deadline) const;
  int reap() noexcept;

  pid_t pid_ = -1;  // -1 when it has been waited for
};

/// Runs a program without a shell and waits for it, at most PN::SUPPORT_COMMAND_TIMEOUT, with this
/// process's standard streams: flush them before. Its exit status as ChildProcess::wait gives it,
/// or -1 when it cannot fork. A program that is ended at the limit is named on standard error.
int spawnfv(const std::vector<std::string>& arguments);

}  // namespace tolk
