// The zones of a forest, and what they add to the objects in them.
#pragma once

#include <boost/shared_ptr.hpp>

#include "tolk/zones/zone_schema.h"

namespace tolk {

class ADBinding;

/// Whether an answer may come from an earlier read of this process.
struct CacheOptions {
  bool fresh = true;
};

class ZoneHierarchy {
 public:
  /// The one of this process.
  static boost::shared_ptr<ZoneHierarchy> GetZoneHierarchy();

  /// The schema that converts objects of layout generation `generation`; 1, the standard layout, is
  /// the only one, for others TOLKException is thrown. The pointer is reserved.
  [[nodiscard]] boost::shared_ptr<const ZoneSchema> getSchema(int generation,
                                                              const void* reserved) const;

  /// Adds to `object` what the zones say about it, by its TOLK_EXT_FILTER. A computer (2) that a
  /// zone has an entry for gets TOLK_ZONE_DN and TOLK_ZONE_NAME; with several entries the first by
  /// name counts. Anything else goes through the schema's conversion. One search in the binding's
  /// domain. `cache` is for objects that have been extended before; nothing is kept today. Throws
  /// LDAPException.
  void extendObject(ADObject& object, ADBinding& binding, const CacheOptions& cache) const;

 private:
  ZoneHierarchy();
  static void extendComputer(ADObject& computer, ADBinding& binding);

  boost::shared_ptr<const ZoneSchema> standard_;
};

}  // namespace tolk
