// poll(2) over the descriptors of all operations that are not done, then a step for each that is
// ready, woken or late.
#include "tolk/net/event_loop.h"

#include <cerrno>
#include <climits>

#include <algorithm>
#include <iterator>
#include <system_error>

#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

// A deadline that nobody was there to see, because this process was stopped or busy elsewhere, does
// not count: the peer may have answered in time and wait for the next step of the exchange.
constexpr std::chrono::milliseconds kLate{250};
constexpr std::chrono::seconds kGrace{1};

// Rounded up: waking a moment early would only turn the loop once more for nothing.
int pollTimeout(Operation::Clock::time_point now, Operation::Clock::time_point until) {
  if (until <= now) return 0;
  if (until == Operation::Clock::time_point::max()) return -1;
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
  return static_cast<int>(std::min<long long>(wait, INT_MAX));
}

}  // namespace

Operation::Operation(EventLoop& loop, Clock::time_point deadline)
    : loop_(loop), deadline_(deadline) {
  loop_.add(this);
}

Operation::~Operation() {
  loop_.remove(this);
}

void Operation::step(std::span<const pollfd> ready, bool woken, bool expired) noexcept {
  try {
    if (!ready.empty() || woken) advance(ready);
    if (!done_ && expired) {
      expire();
      assert(done_);
    }
  } catch (...) {
    failure_ = std::current_exception();
    done_ = true;
  }
}

void EventLoop::remove(Operation* operation) noexcept {
  std::erase(operations_, operation);
  for (Watched& watched : watched_) {
    if (watched.operation == operation) watched.operation = nullptr;
  }
}

bool EventLoop::runUntil(const std::function<bool()>& condition, Clock::time_point deadline) {
  while (!condition()) {
    if (deadline != Clock::time_point::max() && Clock::now() >= deadline) return false;
    runOnce(deadline);
  }
  return true;
}

void EventLoop::runOnce(Clock::time_point wake) {
  gather();
  assert(!watched_.empty() || wake != Clock::time_point::max());
  for (const Watched& watched : watched_) {
    wake = std::min({wake, watched.wakeAt, watched.deadline});
  }
  int timeout = pollTimeout(Clock::now(), wake);
  // After a signal the descriptors are looked at once more, so that no deadline counts unseen.
  while (::poll(descriptors_.data(), descriptors_.size(), timeout) < 0) {
    if (errno != EINTR) {
      throw IOException("poll: " + std::generic_category().message(errno), errno);
    }
    timeout = 0;
  }
  dispatch();
}

void EventLoop::gather() {
  descriptors_.clear();
  watched_.clear();
  for (Operation* operation : operations_) {
    if (operation->done()) continue;
    const std::size_t first = descriptors_.size();
    operation->watch(descriptors_);
    watched_.push_back({operation, first, descriptors_.size() - first, operation->wakeAt(),
                        operation->deadline()});
  }
}

void EventLoop::dispatch() {
  const Clock::time_point now = Clock::now();
  std::vector<pollfd> ready;
  // By index: a step may destroy other operations, which remove() then marks.
  for (std::size_t i = 0; i < watched_.size(); ++i) {
    const Watched& watched = watched_[i];
    if (watched.operation == nullptr) continue;
    const std::span all(descriptors_.data() + watched.first, watched.count);
    ready.clear();
    std::copy_if(all.begin(), all.end(), std::back_inserter(ready),
                 [](const pollfd& descriptor) { return descriptor.revents != 0; });
    const bool woken = now >= watched.wakeAt;
    bool expired = now >= watched.deadline;
    if (expired && now - watched.deadline > kLate) {
      watched.operation->deadline_ = now + kGrace;
      expired = false;
    }
    if (woken || expired || !ready.empty()) watched.operation->step(ready, woken, expired);
  }
}

}  // namespace tolk
