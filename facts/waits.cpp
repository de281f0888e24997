// What is over is taken at once, in the order of the start; what that starts comes behind.
#include "facts/waits.h"

#include <cerrno>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tolk/net/sockets.h"

namespace joinscope::facts {

namespace {

constexpr std::int64_t kErrnos = 134;  // errno(3); codes of libraries lie elsewhere

/// How an exchange ended that an errno has ended.
Outcome outcomeOf(int error) {
  switch (tolk::failingSide(error)) {
    case tolk::Failing::peer:
      return Outcome::refused;
    case tolk::Failing::silence:
      return Outcome::silent;
    case tolk::Failing::here:
      break;
  }
  return error == EPERM || error == EACCES ? Outcome::failed : Outcome::notAsked;
}

}  // namespace

Asked ofExchange(Asked asked) {
  if (asked.outcome != Outcome::silent && asked.outcome != Outcome::failed) return asked;
  const bool withErrno = asked.code > 0 && asked.code < kErrnos;
  if (withErrno) asked.outcome = outcomeOf(static_cast<int>(asked.code));
  if (!withErrno && asked.outcome == Outcome::failed) asked.outcome = Outcome::refused;
  return asked;
}

Asked ofProbe(const tolk::ProbeOutcome& outcome, double seconds) {
  return {.outcome = outcome.error == 0 ? Outcome::answered : outcomeOf(outcome.error),
          .reason = outcome.reason,
          .code = outcome.error,
          .seconds = seconds};
}

bool Waits::run(Clock::time_point until) {
  return loop_.runUntil([this] { return advance(); }, until);
}

bool Waits::advance() {
  for (std::size_t i = 0; i < waits_.size(); ++i) {
    if (!waits_[i]->over()) continue;
    const std::unique_ptr<Base> wait = std::move(waits_[i]);
    // Its place stays empty until the end of this pass: conclude() may add more.
    wait->conclude();
  }
  std::erase(waits_, nullptr);
  const auto whole = [](const auto& wait) { return wait->patience == Patience::whole; };
  if (std::ranges::any_of(waits_, whole)) lastWhole_ = Clock::now();
  return waits_.empty() || Clock::now() - lastWhole_ >= kBrief;
}

}  // namespace joinscope::facts
