// The switch that makes directory reads bypass the object cache.
#include "tolk/base/no_cache_mode.h"

#include <atomic>

#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

std::atomic<bool> cacheDisabled{false};

}  // namespace

void NoCacheMode::reset() {
  cacheDisabled = Props().getBool(PN::TOLKD_CACHE_DISABLE);
}

bool NoCacheMode::active() noexcept {
  return cacheDisabled;
}

}  // namespace tolk
