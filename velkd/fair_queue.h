// The jobs that wait for the worker: each user's in their order, the users by turns.
#pragma once

#include <deque>
#include <functional>
#include <map>

#include "velkd/places.h"

namespace velkd {

/// Root has every other turn, so that its job waits for one of somebody else's at most, however
/// many users there are; a host with subordinate ids (subuid(5)) has thousands.
class FairQueue {
 public:
  using Job = std::function<void()>;

  explicit FairQueue(Places places) : places_(std::move(places)) {}

  /// False when `user` has enough jobs waiting.
  [[nodiscard]] bool push(uid_t user, Job job);
  [[nodiscard]] bool empty() const noexcept { return waiting_.empty(); }
  /// The next job; there must be one.
  [[nodiscard]] Job pop();

 private:
  Places places_;
  std::map<uid_t, std::deque<Job>> waiting_;
  uid_t lastUser_ = kRoot;  // other than root, once one had a turn
  bool rootWasLast_ = false;
};

}  // namespace velkd
