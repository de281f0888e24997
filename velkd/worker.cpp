// The one thread that may wait for the network.
#include "velkd/worker.h"

#include <utility>

namespace velkd {

Worker::Worker(std::size_t maxQueued, Upkeep upkeep)
    : maxQueued_(maxQueued), upkeep_(std::move(upkeep)), thread_([this] { run(); }) {}

Worker::~Worker() {
  (void)stop(std::chrono::milliseconds(0));
  thread_.join();
}

bool Worker::post(Job job) {
  const std::lock_guard lock(mutex_);
  if (stopping_ || jobs_.size() >= maxQueued_) return false;
  jobs_.push_back(std::move(job));
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

void Worker::run() {
  auto due = std::chrono::steady_clock::now();
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    // Upkeep first: a stream of callers must not keep the ticket from being renewed.
    if (upkeepDue_ || std::chrono::steady_clock::now() >= due) {
      upkeepDue_ = false;
      lock.unlock();
      due = upkeep_();
      lock.lock();
    } else if (!jobs_.empty()) {
      const Job job = std::move(jobs_.front());
      jobs_.pop_front();
      lock.unlock();
      job();
      lock.lock();
    } else {
      changed_.wait_until(lock, due);
    }
  }
  ended_ = true;
  changed_.notify_all();
}

}  // namespace velkd
