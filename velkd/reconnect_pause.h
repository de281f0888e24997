// How long to wait between attempts that fail.
#pragma once

#include <algorithm>
#include <chrono>

namespace velkd {

/// Half a second after the first failure, twice as long after each further one, up to a limit.
class ReconnectPause {
 public:
  using Clock = std::chrono::steady_clock;

  void failed(Clock::time_point now, std::chrono::milliseconds longest) {
    constexpr std::chrono::milliseconds kFirst{500};
    pause_ = std::min(pause_.count() == 0 ? kFirst : 2 * pause_, longest);
    until_ = now + pause_;
  }
  void succeeded() { *this = ReconnectPause(); }

  /// When the next attempt may start.
  [[nodiscard]] Clock::time_point until() const noexcept { return until_; }

 private:
  std::chrono::milliseconds pause_{0};
  Clock::time_point until_{};
};

}  // namespace velkd
