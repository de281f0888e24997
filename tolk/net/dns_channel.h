// c-ares on an event loop: one channel for each lookup, under one deadline for all name servers and
// retries together.
#pragma once

#include <ares.h>
#include <poll.h>

#include <chrono>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

#include "tolk/base/handle.h"
#include "tolk/net/operation.h"

namespace tolk {

/// A c-ares channel with the servers and search domains of resolv.conf(5) and the lookup order
/// "hosts file, then DNS".
class DnsChannel {
 public:
  using Clock = Operation::Clock;

  /// Throws DNSUnavailableException when the library cannot start. A server has a third of `limit`
  /// before the next one is asked.
  explicit DnsChannel(std::chrono::milliseconds limit);

  [[nodiscard]] ares_channel get() const noexcept { return channel_.get(); }
  void watch(std::vector<pollfd>& out) const;
  [[nodiscard]] Clock::time_point wakeAt() const;
  /// Reads and writes what is ready and handles the library's own time-outs; runs callbacks.
  void process(std::span<const pollfd> ready) const;

 private:
  std::unique_ptr<std::remove_pointer_t<ares_channel>, Releaser<ares_destroy>> channel_;
};

/// One lookup. A derived class starts it in ask() and calls answered() from its callback;
/// conclude() then reads the answer outside of the callback, so that its exceptions do not cross
/// the library. Callbacks run once more, with ARES_EDESTRUCTION, when the task is destroyed
/// unfinished: derived classes call abandon() in their destructors.
template <typename T>
class DnsTask : public Task<T> {
 public:
  using Clock = Operation::Clock;

  DnsTask(EventLoop& loop, std::chrono::milliseconds limit)
      : Task<T>(loop, Clock::now() + limit), limit_(limit) {}

 protected:
  virtual void ask(ares_channel channel) = 0;
  virtual void conclude() = 0;

  void answered() noexcept { answered_ = true; }
  void abandon() noexcept { channel_.reset(); }
  [[nodiscard]] std::chrono::milliseconds limit() const noexcept { return limit_; }

 private:
  void watch(std::vector<pollfd>& out) override {
    if (channel_) channel_->watch(out);
  }
  Clock::time_point wakeAt() override {
    return channel_ ? channel_->wakeAt() : Clock::time_point::min();
  }
  void advance(std::span<const pollfd> ready) override {
    if (channel_) {
      channel_->process(ready);
    } else {
      channel_ = std::make_unique<DnsChannel>(limit_);
      ask(channel_->get());
    }
    if (answered_) conclude();
  }

  std::chrono::milliseconds limit_;
  std::unique_ptr<DnsChannel> channel_;
  bool answered_ = false;
};

}  // namespace tolk
