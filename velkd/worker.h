// The one thread that may wait for the network.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "velkd/fair_queue.h"

namespace velkd {

/// Runs jobs, the users' by turns, and its own upkeep when that is due, between two jobs. Neither
/// may throw.
class Worker {
 public:
  using Clock = std::chrono::steady_clock;
  using Job = FairQueue::Job;
  using Upkeep = std::function<Clock::time_point()>;

  /// `upkeep` is called at once and then whenever the time that it returned has come. `places` is
  /// how many jobs may wait.
  Worker(const Places& places, Upkeep upkeep);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  /// Waits for the job at hand; stop() before bounds that.
  ~Worker();

  /// A job that `user` has asked for. False when too many of that user's are waiting already, or
  /// after stop().
  bool post(uid_t user, Job job);
  /// Has the upkeep called soon, whatever it said.
  void wake();
  /// Starts nothing more; true when the thread was idle within `limit`, false when it still waits
  /// for the network.
  bool stop(std::chrono::milliseconds limit);
  /// Whether the thread gets on: what it does has not begun, nor has its next upkeep been due,
  /// longer than `limit` ago.
  [[nodiscard]] bool advances(std::chrono::milliseconds limit) const;

 private:
  void run();
  template <typename Step>
  void unlocked(std::unique_lock<std::mutex>& lock, const Step& step);

  Upkeep upkeep_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  FairQueue jobs_;
  Clock::time_point since_ = Clock::now();  // the step at hand began, or the next one is due
  bool upkeepDue_ = true;
  bool stopping_ = false;
  bool ended_ = false;
  std::thread thread_;  // last: it uses all the others
};

}  // namespace velkd
