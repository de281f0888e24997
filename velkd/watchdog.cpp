// Feeds the service manager's watchdog.
#include "velkd/watchdog.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "velkd/notify.h"

namespace velkd {
namespace {

long long numberIn(const char* variable) {
  const char* const text = std::getenv(variable);
  long long number = 0;
  if (text == nullptr) return 0;
  const std::string_view digits(text);
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() ? number : 0;
}

// Zero: no signs are wanted.
std::chrono::milliseconds wantedInterval() {
  const long long process = numberIn("WATCHDOG_PID");
  if (process != 0 && process != ::getpid()) return {};
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::microseconds(numberIn("WATCHDOG_USEC")));
}

}  // namespace

Watchdog::Watchdog(const Worker& worker) : worker_(worker), interval_(wantedInterval()) {
  constexpr int kSignsInAnInterval = 2;
  const auto every = std::chrono::nanoseconds(interval_) / kSignsInAnInterval;
  if (every <= std::chrono::nanoseconds::zero()) return;
  timer_.reset(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  const auto seconds = std::chrono::floor<std::chrono::seconds>(every);
  const timespec period{.tv_sec = seconds.count(), .tv_nsec = (every - seconds).count()};
  const itimerspec times{.it_interval = period, .it_value = period};
  if (!timer_ || ::timerfd_settime(timer_.get(), 0, &times, nullptr) != 0) {
    throw tolk::IOException("Cannot make a timer", errno);
  }
}

void Watchdog::beat() {
  std::uint64_t times = 0;
  if (::read(timer_.get(), &times, sizeof times) != static_cast<ssize_t>(sizeof times)) return;
  const bool hangs = !worker_.advances(interval_);
  if (hangs && !hanging_) {
    constexpr const char* kHangs = "The work with the directory hangs";
    tolk::Logger::GetThreadPrivateLogger("velkd").log(
        tolk::LogLevel::error, std::string(kHangs) + ": the watchdog is not fed any more");
    notifyServiceManager(std::string("STATUS=") + kHangs + ".");
  }
  hanging_ = hangs;
  if (!hangs) notifyServiceManager("WATCHDOG=1");
}

}  // namespace velkd
