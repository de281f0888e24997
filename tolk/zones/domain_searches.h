// The threads that search the domains of a forest.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "tolk/zones/domain_count.h"

namespace tolk {

/// What came of one domain: a count, or a problem.
struct DomainSearch {
  std::string domain;
  std::optional<DomainCount> count;
  std::string problem;
};

/// Searches `domains` side by side, each with tickets of its own copied from `cacheName`; the
/// results are in the order of `domains`. `progress` may be empty; it is called on this thread.
/// Throws std::system_error when not a single thread can be started.
std::vector<DomainSearch> searchDomains(const std::list<std::string>& domains,
                                        const std::string& cacheName,
                                        const std::function<void(std::uint64_t)>& progress);

}  // namespace tolk
