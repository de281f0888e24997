// The jobs that wait for the worker.
#include "velkd/fair_queue.h"

#include <utility>

namespace velkd {

bool FairQueue::push(uid_t user, Job job) {
  if (!places_.take(user)) return false;
  waiting_[user].push_back(std::move(job));
  return true;
}

FairQueue::Job FairQueue::pop() {
  auto next = waiting_.begin();  // root, when root waits: the lowest id
  const bool othersWait = next->first != kRoot || waiting_.size() > 1;
  if (next->first != kRoot || (rootWasLast_ && othersWait)) {
    next = waiting_.upper_bound(lastUser_);
    if (next == waiting_.end()) next = waiting_.upper_bound(kRoot);
    lastUser_ = next->first;
  }
  rootWasLast_ = next->first == kRoot;
  Job job = std::move(next->second.front());
  next->second.pop_front();
  places_.giveBack(next->first);
  if (next->second.empty()) waiting_.erase(next);
  return job;
}

}  // namespace velkd
