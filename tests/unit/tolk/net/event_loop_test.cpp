#include "tolk/net/event_loop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/time.h>

#include <stdexcept>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"

namespace tolk {
namespace {

using namespace std::chrono_literals;
using Clock = EventLoop::Clock;

// Done with the value of an eventfd, which somebody else writes.
class EventTask final : public Task<std::uint64_t> {
 public:
  EventTask(EventLoop& loop, UniqueFd fd, Clock::time_point deadline)
      : Task(loop, deadline), fd_(std::move(fd)) {}

 private:
  void watch(std::vector<pollfd>& out) override { out.push_back({fd_.get(), POLLIN, 0}); }
  void advance(std::span<const pollfd> /*ready*/) override {
    eventfd_t value = 0;
    if (::eventfd_read(fd_.get(), &value) == 0) finish(value);
    if (value == 13) throw std::runtime_error("unlucky");
  }
  void expire() override { throw TimeoutException("too late"); }

  UniqueFd fd_;
};

UniqueFd event() {
  return UniqueFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
}

TEST(EventLoop, OthersGoOnWhileOneIsWaitedFor) {
  EventLoop loop;
  UniqueFd early = event();
  ::eventfd_write(early.get(), 7);
  auto first = startTask<EventTask>(loop, event(), Clock::now() + 20ms);
  auto second = startTask<EventTask>(loop, std::move(early), Clock::now() + 1h);
  EXPECT_THROW(first.wait(), TimeoutException);
  ASSERT_TRUE(second.done());
  EXPECT_EQ(second.wait(), 7U);
  EXPECT_FALSE(second);
}

TEST(EventLoop, AnExceptionInAStepIsTheFailureOfThatOperationAlone) {
  EventLoop loop;
  UniqueFd bad = event();
  UniqueFd good = event();
  ::eventfd_write(bad.get(), 13);
  ::eventfd_write(good.get(), 1);
  auto first = startTask<EventTask>(loop, std::move(bad), Clock::now() + 1h);
  auto second = startTask<EventTask>(loop, std::move(good), Clock::now() + 1h);
  EXPECT_EQ(second.wait(), 1U);
  EXPECT_THROW(first.wait(), std::runtime_error);
}

TEST(EventLoop, DestroyingAnUnfinishedWaitEndsItAndClosesItsDescriptor) {
  EventLoop loop;
  UniqueFd fd = event();
  const int number = fd.get();
  auto pending = startTask<EventTask>(loop, std::move(fd), Clock::now() + 1h);
  EXPECT_FALSE(loop.runUntil([] { return false; }, Clock::now() + 1ms));
  pending = {};
  EXPECT_EQ(::fcntl(number, F_GETFD), -1);
  EXPECT_FALSE(loop.runUntil([] { return false; }, Clock::now() + 1ms));
}

// Ends another wait from its own step, as a search does with those that it no longer needs.
class Canceller final : public Task<int> {
 public:
  Canceller(EventLoop& loop, Pending<std::uint64_t>& victim)
      : Task(loop, Clock::now() + 1h), victim_(victim) {}

 private:
  void watch(std::vector<pollfd>& /*out*/) override {}
  Clock::time_point wakeAt() override { return Clock::time_point::min(); }
  void advance(std::span<const pollfd> /*ready*/) override {
    victim_ = {};
    finish(1);
  }
  void expire() override {}

  Pending<std::uint64_t>& victim_;
};

TEST(EventLoop, AStepMayEndAnotherOperationOfTheSameTurn) {
  EventLoop loop;
  Pending<std::uint64_t> victim;
  auto canceller = startTask<Canceller>(loop, victim);
  UniqueFd fd = event();
  ::eventfd_write(fd.get(), 1);
  victim = startTask<EventTask>(loop, std::move(fd), Clock::now() + 1h);
  EXPECT_EQ(canceller.wait(), 1);
  EXPECT_FALSE(victim);
}

TEST(EventLoop, SignalsDoNotEndAWait) {
  static volatile sig_atomic_t alarms = 0;
  struct sigaction action {};
  action.sa_handler = [](int) { alarms = alarms + 1; };
  struct sigaction former {};
  ASSERT_EQ(::sigaction(SIGALRM, &action, &former), 0);
  const itimerval each{{0, 2000}, {0, 2000}};
  ASSERT_EQ(::setitimer(ITIMER_REAL, &each, nullptr), 0);
  EventLoop loop;
  auto pending = startTask<EventTask>(loop, event(), Clock::now() + 20ms);
  EXPECT_THROW(pending.wait(), TimeoutException);
  const itimerval none{};
  ::setitimer(ITIMER_REAL, &none, nullptr);
  ::sigaction(SIGALRM, &former, nullptr);
  EXPECT_GT(alarms, 0);
}

}  // namespace
}  // namespace tolk
