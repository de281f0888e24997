// The one thread that may wait for the network.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace velkd {

/// Runs jobs in their order, and its own upkeep when that is due and between jobs. Neither may
/// throw.
class Worker {
 public:
  using Job = std::function<void()>;
  using Upkeep = std::function<std::chrono::steady_clock::time_point()>;

  /// `upkeep` is called at once and then whenever the time that it returned has come.
  Worker(std::size_t maxQueued, Upkeep upkeep);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  /// Waits for the job at hand; stop() before bounds that.
  ~Worker();

  /// False when too many jobs are waiting already, or after stop().
  bool post(Job job);
  /// Has the upkeep called soon, whatever it said.
  void wake();
  /// Starts nothing more; true when the thread was idle within `limit`, false when it still waits
  /// for the network.
  bool stop(std::chrono::milliseconds limit);

 private:
  void run();

  std::size_t maxQueued_;
  Upkeep upkeep_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> jobs_;
  bool upkeepDue_ = true;
  bool stopping_ = false;
  bool ended_ = false;
  std::thread thread_;  // last: it uses all the others
};

}  // namespace velkd
