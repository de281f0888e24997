// A DNS lookup as a wait on an event loop.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tolk/net/dns_walk.h"
#include "tolk/net/host_query.h"
#include "tolk/net/operation.h"

namespace tolk {

/// One lookup. A derived class puts its question in ask() and tells the status of the answer from
/// its callback by answered(); what follows is done outside of the callback, so that no exception
/// crosses the library. Callbacks run once more when the task is destroyed unfinished: derived
/// classes call abandon() in their destructors.
template <typename T>
class DnsTask : public Task<T> {
 public:
  using Clock = Operation::Clock;

  DnsTask(EventLoop& loop, std::string name, std::chrono::milliseconds limit)
      : Task<T>(loop, Clock::now() + limit), name_(std::move(name)) {}

 protected:
  /// Before any server is asked: true when the task is done without them.
  virtual bool needsNoServer() { return false; }
  virtual void ask(ares_channel channel) = 0;
  /// A server has answered. May ask() it once more instead of finishing.
  virtual void conclude(int status, ares_channel channel) = 0;
  /// No server has.
  virtual void giveUp(const DnsWalk& walk) = 0;

  void answered(int status) noexcept {
    if (status != ARES_EDESTRUCTION) status_ = status;
  }
  /// The status of the answer that has come, once.
  std::optional<int> takeStatus() noexcept { return std::exchange(status_, std::nullopt); }
  void abandon() noexcept { walk_.reset(); }
  [[nodiscard]] const std::string& name() const noexcept { return name_; }

 private:
  void watch(std::vector<pollfd>& out) override {
    if (walk_) walk_->watch(out);
  }
  Clock::time_point wakeAt() override { return walk_ ? walk_->wakeAt() : Clock::time_point::min(); }

  void advance(std::span<const pollfd> ready) override {
    if (walk_) {
      walk_->process(ready);
      return goOn();
    }
    if (needsNoServer()) return;
    walk_ = std::make_unique<DnsWalk>(shownName(name_), this->deadline());
    askNext();
    goOn();
  }

  void goOn() {
    while (!this->done()) {
      if (const std::optional<int> status = takeStatus()) {
        if (walk_->judge(*status)) {
          walk_->tellFaults();
          conclude(*status, walk_->channel());
          continue;
        }
      } else if (walk_->timeIsUp()) {
        walk_->silent();
      } else {
        return;
      }
      askNext();
    }
  }

  void askNext() {
    if (!walk_->next()) return giveUp(*walk_);
    ask(walk_->channel());
  }

  void expire() override {
    walk_->silent();
    giveUp(*walk_);
  }

  std::string name_;
  std::optional<int> status_;
  std::unique_ptr<DnsWalk> walk_;
};

}  // namespace tolk
