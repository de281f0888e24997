// The switch that makes directory reads bypass the object cache.
#pragma once

namespace tolk {

/// Reflects PN::TOLKD_CACHE_DISABLE for readers on hot paths.
class NoCacheMode {
 public:
  /// Takes the property's current value over; until the first call the cache counts as on.
  static void reset();
  [[nodiscard]] static bool active() noexcept;
};

}  // namespace tolk
