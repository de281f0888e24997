// How users share a limited number of places.
#include "velkd/places.h"

namespace velkd {

std::size_t Places::freeFor(uid_t user) const noexcept {
  const std::size_t free = all_ - std::min(all_, taken_);
  if (user == kRoot) return free;
  const auto root = takenBy_.find(kRoot);
  const std::size_t byUsers = taken_ - (root == takenBy_.end() ? 0 : root->second);
  return std::min(free, forUsers_ - std::min(forUsers_, byUsers));
}

bool Places::take(uid_t user) {
  const auto mine = takenBy_.find(user);
  const std::size_t has = user == kRoot || mine == takenBy_.end() ? 0 : mine->second;
  if (has >= freeFor(user)) return false;
  ++takenBy_[user];
  ++taken_;
  return true;
}

void Places::giveBack(uid_t user) noexcept {
  const auto mine = takenBy_.find(user);
  if (mine == takenBy_.end()) return;
  if (--mine->second == 0) takenBy_.erase(mine);
  --taken_;
}

}  // namespace velkd
