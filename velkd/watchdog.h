// The service manager's watchdog (sd_watchdog_enabled(3)): it ends and restarts a daemon that
// hangs.
#pragma once

#include <chrono>

#include "tolk/base/handle.h"
#include "velkd/worker.h"

namespace velkd {

/// Fed from the server's loop, and only while the worker gets on as well. A worker hangs when one
/// step of it takes as long as the manager waits for a sign.
class Watchdog {
 public:
  /// Does nothing unless the environment (WATCHDOG_USEC, WATCHDOG_PID) asks this process for signs.
  explicit Watchdog(const Worker& worker);

  /// Readable whenever beat() is due; -1 when no signs are wanted.
  [[nodiscard]] int fd() const noexcept { return timer_ ? timer_.get() : -1; }
  void beat();

 private:
  const Worker& worker_;
  std::chrono::milliseconds interval_;
  tolk::UniqueFd timer_;
  bool hanging_ = false;
};

}  // namespace velkd
