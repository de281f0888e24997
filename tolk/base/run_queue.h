// Work in the background: items on named queues, each queue with worker threads of its own.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace tolk {

/// Something to be run once, or again and again. Items on one queue with several threads run side
/// by side; one item never runs twice at a time.
class QueueAble {
 public:
  explicit QueueAble(std::string id) : id_(std::move(id)) {}
  QueueAble(const QueueAble&) = delete;
  QueueAble& operator=(const QueueAble&) = delete;

  /// The work. What it throws is recorded and goes no further.
  virtual void run() = 0;
  virtual ~QueueAble() = default;
  /// Whether an item with the same name that still waits makes this one needless.
  [[nodiscard]] virtual bool dedupMe() const { return false; }
  /// The item's name, for records and dedupMe().
  [[nodiscard]] virtual std::string getID() const { return id_; }
  /// The time after which a periodic item comes again, in seconds.
  [[nodiscard]] virtual long getTimeout() const { return timeoutSeconds_; }
  virtual void setTimeout(long seconds) { timeoutSeconds_ = seconds; }
  /// Whether the item is queued again after it has run.
  [[nodiscard]] virtual bool periodic() const { return false; }
  /// Called after each run of a periodic item: the place to read the time anew.
  virtual void updateTimeout() {}
  /// Of two items of which one is needless: whether the one that waits is kept, and not this.
  [[nodiscard]] virtual bool keepQueuedItem() const { return true; }
  /// What the worker thread is called while it runs the item; "" leaves its name.
  virtual void setLoggingThreadName(const std::string& name) { threadName_ = name; }
  [[nodiscard]] virtual std::string getLoggingThreadName() const { return threadName_; }
  /// The most seconds by which a periodic item comes later, at random, so that many hosts do not
  /// come at one time.
  [[nodiscard]] virtual long getRandomDelay() const { return 0; }

 private:
  std::string id_;
  std::string threadName_;
  long timeoutSeconds_ = 0;
};

/// A queue and its threads. For use by several threads.
class RunQueue {
 public:
  /// The queue of that name. One that does not exist is made with `threads` threads (one at least)
  /// when `create` is set, else null comes back.
  static std::shared_ptr<RunQueue> getRunQueue(const std::string& name, bool create, int threads);

  /// Stops all queues as stop() does and forgets them. False when a thread was still busy at the
  /// end of the limit, which all queues share: what items use must then outlive the process.
  static bool shutdown(std::chrono::milliseconds limit);

  RunQueue(const RunQueue&) = delete;
  RunQueue& operator=(const RunQueue&) = delete;
  ~RunQueue();

  /// Has the item run once `delay` is over. False when the item was needless, or the queue is
  /// stopped.
  bool queue(std::shared_ptr<QueueAble> item,
             std::chrono::milliseconds delay = std::chrono::milliseconds(0));

  /// Starts nothing more; what waits is dropped. True when all threads were idle within `limit`.
  bool stop(std::chrono::milliseconds limit);

 private:
  struct State;
  RunQueue(const std::string& name, int threads);

  std::shared_ptr<State> state_;  // the threads hold it too, as a busy one outlives its queue
};

}  // namespace tolk
