// Waiting for many descriptors and deadlines at once in one thread: a poll(2) loop, and the handle
// by which a caller waits for one operation while the others go on.
#pragma once

#include <poll.h>

#include <cassert>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "tolk/net/operation.h"

namespace tolk {

/// Drives its operations; nothing happens outside runUntil() and runOnce(). Must outlive every
/// operation made on it.
class EventLoop {
 public:
  using Clock = Operation::Clock;

  EventLoop() = default;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;
  ~EventLoop() { assert(operations_.empty()); }

  /// Lets all operations go on until `condition` holds (true) or `deadline` has passed (false). The
  /// condition is looked at before the first wait and after each one; it may start, end and destroy
  /// operations. Signals do not end the wait.
  bool runUntil(const std::function<bool()>& condition,
                Clock::time_point deadline = Clock::time_point::max());

  /// Waits for the next event, at most until `wake`, and lets the operations that it concerns go
  /// on. Returns at once from an interrupted wait. A deadline that is long gone when it is first
  /// seen (the process was suspended) is put off by a second.
  void runOnce(Clock::time_point wake);

 private:
  friend class Operation;
  struct Watched {
    Operation* operation;  // null once it is destroyed
    std::size_t first;     // its descriptors in descriptors_
    std::size_t count;
    Clock::time_point wakeAt;
    Clock::time_point deadline;
  };

  void add(Operation* operation) { operations_.push_back(operation); }
  void remove(Operation* operation) noexcept;
  void gather();
  void dispatch();

  std::vector<Operation*> operations_;  // in the order of their start
  std::vector<pollfd> descriptors_;     // rebuilt for each wait, as is watched_
  std::vector<Watched> watched_;
};

/// Owns a wait in progress. Movable; destroying or assigning over an unfinished one cancels it.
template <typename T>
class Pending {
 public:
  Pending() = default;
  explicit Pending(std::unique_ptr<Task<T>> task) noexcept : task_(std::move(task)) {}

  /// Whether there is a wait at all: not after wait(), and not for a default-constructed one.
  [[nodiscard]] explicit operator bool() const noexcept { return task_ != nullptr; }
  /// Whether wait() would return or throw at once.
  [[nodiscard]] bool done() const noexcept { return task_ != nullptr && task_->done(); }

  /// Runs the loop until this wait is over, the others on the loop going on meanwhile. Returns the
  /// value or throws the failure; once.
  T wait() {
    assert(task_ != nullptr);
    const std::unique_ptr<Task<T>> task = std::move(task_);
    task->loop().runUntil([&task] { return task->done(); });
    return task->take();
  }

 private:
  std::unique_ptr<Task<T>> task_;
};

/// Starts a task made of `arguments` on `loop`.
template <typename TaskType, typename... Arguments>
Pending<typename TaskType::Value> startTask(EventLoop& loop, Arguments&&... arguments) {
  return Pending<typename TaskType::Value>(
      std::make_unique<TaskType>(loop, std::forward<Arguments>(arguments)...));
}

}  // namespace tolk
