// A wait whose result is made from another wait's.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "tolk/net/event_loop.h"

namespace tolk {

/// Waits for `From` and turns its value into a `To`; failures, also those of the function, become
/// its own.
template <typename From, typename To>
class MappedTask final : public Task<To> {
 public:
  using Clock = Operation::Clock;

  MappedTask(EventLoop& loop, Pending<From> from, std::function<To(From)> map)
      : Task<To>(loop, Clock::time_point::max()), from_(std::move(from)), map_(std::move(map)) {}

 private:
  // The other operation has its own descriptors and deadline on the same loop.
  void watch(std::vector<pollfd>& /*out*/) override {}
  Clock::time_point wakeAt() override {
    return from_.done() ? Clock::time_point::min() : Clock::time_point::max();
  }
  void advance(std::span<const pollfd> /*ready*/) override { this->finish(map_(from_.wait())); }
  void expire() override {}

  Pending<From> from_;
  std::function<To(From)> map_;
};

}  // namespace tolk
