// The one thread that may wait for the network.
#include "velkd/worker.h"

#include <utility>

namespace velkd {

Worker::Worker(const Places& places, Upkeep upkeep)
    : upkeep_(std::move(upkeep)), jobs_(places), thread_([this] { run(); }) {}

Worker::~Worker() {
  (void)stop(std::chrono::milliseconds(0));
  thread_.join();
}

bool Worker::post(uid_t user, Job job) {
  const std::lock_guard lock(mutex_);
  if (stopping_ || !jobs_.push(user, std::move(job))) return false;
  changed_.notify_all();
  return true;
}

void Worker::wake() {
  const std::lock_guard lock(mutex_);
  upkeepDue_ = true;
  changed_.notify_all();
}

bool Worker::stop(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  stopping_ = true;
  changed_.notify_all();
  return changed_.wait_for(lock, limit, [this] { return ended_; });
}

bool Worker::advances(std::chrono::milliseconds limit) const {
  const std::lock_guard lock(mutex_);
  return Clock::now() - since_ < limit;
}

template <typename Step>
void Worker::unlocked(std::unique_lock<std::mutex>& lock, const Step& step) {
  since_ = Clock::now();
  lock.unlock();
  step();
  lock.lock();
}

void Worker::run() {
  Clock::time_point due = Clock::now();
  bool jobsTurn = false;
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    const bool upkeepDue = upkeepDue_ || Clock::now() >= due;
    // By turns: a stream of callers must not keep the ticket from being renewed, nor upkeep of many
    // steps a caller from being served.
    if (upkeepDue && (!jobsTurn || jobs_.empty())) {
      upkeepDue_ = false;
      jobsTurn = true;
      unlocked(lock, [&] { due = upkeep_(); });
    } else if (!jobs_.empty()) {
      jobsTurn = false;
      unlocked(lock, jobs_.pop());
    } else {
      since_ = due;
      changed_.wait_until(lock, due);
    }
  }
  ended_ = true;
  changed_.notify_all();
}

}  // namespace velkd
