// The soft limit is raised to the hard one when a caller could use more; some descriptors are
// left for everything else.
#include "tolk/base/descriptor_limit.h"

#include <sys/resource.h>

#include <algorithm>

namespace tolk {
namespace {

// Standard streams, logs, name servers, connections that stay open.
constexpr std::size_t kReserve = 48;
constexpr std::size_t kLeast = 16;

std::size_t usableOf(rlim_t limit) {
  return limit > kReserve + kLeast ? static_cast<std::size_t>(limit) - kReserve : kLeast;
}

}  // namespace

std::size_t usableDescriptors(std::size_t wanted) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return kLeast;
  if (usableOf(limit.rlim_cur) < wanted && limit.rlim_cur < limit.rlim_max) {
    const rlimit raised{limit.rlim_max, limit.rlim_max};
    if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  }
  return usableOf(limit.rlim_cur);
}

}  // namespace tolk
