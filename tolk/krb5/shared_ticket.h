// Tickets that the threads of a process share.
#pragma once

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace tolk {

/// For use by several threads. One of them asks for new tickets and holds no lock meanwhile: who
/// has use for the old ones takes them, the others wait for what comes of it. A failure is
/// everybody's answer for some seconds, so that a dead KDC costs its limit once and not every
/// caller. `Ticket` has principal() and endTime().
template <typename Ticket>
class SharedTicket {
 public:
  using Pointer = std::shared_ptr<const Ticket>;

  /// Tickets of `principal` that do not end soon; with `renew` only such as come from now on. New
  /// ones come from `ask`. Throws what it throws.
  template <typename Ask>
  [[nodiscard]] Pointer get(const std::string& principal, bool renew, const Ask& ask) {
    std::unique_lock lock(mutex_);
    const unsigned before = answers_;
    for (;;) {
      const bool fresh = !renew || answers_ != before;
      if (fresh && isUsable(principal)) return ticket_;
      if (failure_ && failedPrincipal_ == principal && Clock::now() < failedUntil_) {
        std::rethrow_exception(failure_);
      }
      if (!asking_) break;
      answered_.wait(lock);  // for no longer than the limit of asking a KDC
    }
    asking_ = true;
    lock.unlock();
    Pointer fresh;
    std::exception_ptr failure;
    try {
      fresh = ask();
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    return keep(principal, std::move(fresh), std::move(failure));
  }

 private:
  using Clock = std::chrono::steady_clock;

  [[nodiscard]] bool isUsable(const std::string& principal) const {
    constexpr std::time_t kSecondsBeforeEnd = 600;
    return ticket_ && ticket_->principal() == principal &&
           ticket_->endTime() - std::time(nullptr) > kSecondsBeforeEnd;
  }

  Pointer keep(const std::string& principal, Pointer fresh, std::exception_ptr failure) {
    constexpr std::chrono::seconds kFailureIsKnownFor(10);
    asking_ = false;
    ++answers_;
    answered_.notify_all();
    failure_ = std::move(failure);
    failedPrincipal_ = principal;
    failedUntil_ = Clock::now() + kFailureIsKnownFor;
    if (failure_) std::rethrow_exception(failure_);
    ticket_ = std::move(fresh);
    return ticket_;
  }

  std::mutex mutex_;
  std::condition_variable answered_;
  Pointer ticket_;
  bool asking_ = false;
  unsigned answers_ = 0;  // good and bad
  std::exception_ptr failure_;
  std::string failedPrincipal_;
  Clock::time_point failedUntil_;
};

}  // namespace tolk
