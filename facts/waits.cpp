// What is over is taken at once, in the order of the start; what that starts comes behind.
#include "facts/waits.h"

#include <algorithm>
#include <cstddef>

#include "tolk/net/sockets.h"

namespace joinscope::facts {

Asked ofExchange(Asked asked) {
  const bool here =
      asked.code > 0 && tolk::failingSide(static_cast<int>(asked.code)) == tolk::Failing::here;
  if (asked.outcome == Outcome::silent && here) asked.outcome = Outcome::failed;
  if (asked.outcome == Outcome::failed && !here) asked.outcome = Outcome::refused;
  return asked;
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
