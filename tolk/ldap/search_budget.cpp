// The limit counts anew for each thousand answers: a large search may take longer, a stalled one
// may not.
#include "tolk/ldap/search_budget.h"

#include <algorithm>

#include "tolk/net/limits.h"

namespace tolk {

WaitLimit configuredWait(const Property& property) {
  return {configuredLimit(property), limitSource(property)};
}

std::size_t SearchBudget::limits() const {
  return std::min(1 + answers_ / kAnswersALimit, kMostLimits);
}

WaitLimit SearchBudget::left(std::chrono::steady_clock::time_point started) const {
  const auto used = spent_ + (std::chrono::steady_clock::now() - started);
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(
      limit_.time * static_cast<long>(limits()) - used);
  return {std::max(rest, std::chrono::milliseconds::zero()), limit_.source};
}

WaitLimit SearchBudget::whole() const {
  WaitLimit all = limit_;
  all.time *= static_cast<long>(limits());
  if (limits() == 1 || all.source.empty()) return all;
  all.source +=
      ": " + limitText(limit_.time) + " for each " + std::to_string(kAnswersALimit) + " answers";
  return all;
}

}  // namespace tolk
