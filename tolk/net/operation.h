// Something in progress on an event loop, with and without a result: what those who add a kind of
// wait derive from.
#pragma once

#include <poll.h>

#include <cassert>
#include <chrono>
#include <exception>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace tolk {

class EventLoop;

/// One wait. Destroying it unfinished cancels it: its descriptors are closed and nothing else
/// happens. What advance() or expire() throws ends the operation and becomes its failure.
/// Constructors may complete it.
class Operation {
 public:
  using Clock = std::chrono::steady_clock;

  Operation(EventLoop& loop, Clock::time_point deadline);
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;
  virtual ~Operation();

  [[nodiscard]] bool done() const noexcept { return done_; }
  [[nodiscard]] EventLoop& loop() const noexcept { return loop_; }
  [[nodiscard]] Clock::time_point deadline() const noexcept { return deadline_; }

 protected:
  /// Appends the descriptors and events to wait for; none is allowed.
  virtual void watch(std::vector<pollfd>& out) = 0;
  /// When advance() is to be called although no descriptor is ready; the deadline needs no mention.
  [[nodiscard]] virtual Clock::time_point wakeAt() { return Clock::time_point::max(); }
  /// Goes on as far as possible without waiting. `ready` are the watched descriptors that have
  /// events, none when wakeAt() has come.
  virtual void advance(std::span<const pollfd> ready) = 0;
  /// The deadline has passed: throws what the operation fails with, or completes with what it has.
  virtual void expire() = 0;

  void complete() noexcept { done_ = true; }
  void rethrowFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  friend class EventLoop;
  void step(std::span<const pollfd> ready, bool woken, bool expired) noexcept;

  EventLoop& loop_;
  Clock::time_point deadline_;
  std::exception_ptr failure_;
  bool done_ = false;
};

/// An operation with a result.
template <typename T>
class Task : public Operation {
 public:
  using Value = T;
  using Operation::Operation;

  /// The result of a task that is done, or its failure as it was thrown. Once.
  T take() {
    assert(done());
    rethrowFailure();
    assert(value_);
    return std::move(*value_);
  }

 protected:
  void finish(T value) {
    value_ = std::move(value);
    complete();
  }

 private:
  std::optional<T> value_;
};

/// A task whose result is there from the start.
template <typename T>
class FinishedTask final : public Task<T> {
 public:
  FinishedTask(EventLoop& loop, T value) : Task<T>(loop, Operation::Clock::time_point::max()) {
    this->finish(std::move(value));
  }

 private:
  void watch(std::vector<pollfd>& /*out*/) override {}
  void advance(std::span<const pollfd> /*ready*/) override {}
  void expire() override {}
};

}  // namespace tolk
