// Many waits on one event loop, each with what is to be done when it is over.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "facts/asked.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/probes.h"

namespace joinscope::facts {

/// A network exchange's end by the errno in its code: who speaks has refused, whatever else he
/// said; what this host's own rules kept it from sending has failed, and what it had no means for
/// was not asked.
Asked ofExchange(Asked asked);
/// The same of a probe that never fails.
Asked ofProbe(const tolk::ProbeOutcome& outcome, double seconds);

/// Whether the whole goes on for a wait alone, or gives it up soon after all others.
enum class Patience { whole, brief };

class Waits {
 public:
  using Clock = tolk::EventLoop::Clock;

  [[nodiscard]] tolk::EventLoop& loop() { return loop_; }

  /// Starts a wait by `start`, which returns a Pending<T>, and hands its end to
  /// `then(const Asked&, T)`: T's default when it was not answered. That may add more. It is not
  /// called for a wait that is given up.
  template <typename Start, typename Then>
  void add(const Start& start, Then then, Patience patience = Patience::whole) {
    using T = decltype(start().wait());
    auto wait = std::make_unique<Wait<T, Then>>(std::move(then));
    wait->patience = patience;
    wait->start(start);
    waits_.push_back(std::move(wait));
  }

  /// Waits until `until` at most; true when no wait is left that the whole goes on for.
  bool run(Clock::time_point until);

 private:
  class Base {
   public:
    Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    virtual ~Base() = default;
    [[nodiscard]] virtual bool over() const = 0;
    virtual void conclude() = 0;

    Patience patience = Patience::whole;
  };

  template <typename T, typename Then>
  class Wait final : public Base {
   public:
    explicit Wait(Then then) : then_(std::move(then)) {}

    template <typename Start>
    void start(const Start& start) {
      failed_ = ask([&] { pending_ = start(); });
    }
    [[nodiscard]] bool over() const override { return !failed_.answered() || pending_.done(); }
    void conclude() override {
      T value{};
      Asked asked = failed_;
      if (asked.answered()) asked = ask([&] { value = pending_.wait(); });
      asked.seconds = std::chrono::duration<double>(Clock::now() - started_).count();
      then_(ofExchange(std::move(asked)), std::move(value));
    }

   private:
    Then then_;
    Clock::time_point started_ = Clock::now();
    Asked failed_;  // answered: it has been started
    tolk::Pending<T> pending_;
  };

  static constexpr std::chrono::milliseconds kBrief{100};

  bool advance();

  Clock::time_point lastWhole_ = Clock::now();  // when there was one to be waited for
  tolk::EventLoop loop_;                        // before all that runs on it
  std::vector<std::unique_ptr<Base>> waits_;
};

}  // namespace joinscope::facts
