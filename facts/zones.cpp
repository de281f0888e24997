// Each layout has its reader in the library.
#include "facts/zones.h"

#include "tolk/base/join_settings.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/zones/zone_hierarchy.h"
#include "tolk/zones/zone_readers.h"

namespace joinscope {

boost::shared_ptr<tolk::ADObjectList> readZones(tolk::ADBinding& binding, ZoneLayout layout) {
  switch (layout) {
    case ZoneLayout::standard:
      return tolk::ORVSchema(0, std::string(tolk::SCHEMA_ORV_V2_0), "", 0).getZoneList(binding, "");
    case ZoneLayout::rfc2307:
      return tolk::ORVSchemaR2(0, "", 0).getZoneList(binding, "");
    case ZoneLayout::sfu:
      return tolk::SFUSchema(0, std::string(tolk::SCHEMA_SFU_V3_0), "", 0).getZoneList(binding, "");
  }
  return {};
}

std::string readZoneName(tolk::ADBinding& binding, const std::string& zoneDn,
                         const std::string& unnamed) {
  constexpr int kStandardLayout = 1;
  tolk::ADObject zone = binding.fetch(zoneDn, nullptr, tolk::AD_ALL_OBJECTS, false);
  zone[tolk::TOLK_EXT_FILTER] = tolk::ZoneObjectKind::zone;
  tolk::ZoneHierarchy::GetZoneHierarchy()->getSchema(kStandardLayout, nullptr)->convert(zone);
  zone.erase(tolk::TOLK_EXT_FILTER);
  return zone.getString(tolk::TOLK_ZONE_NAME, unnamed);
}

}  // namespace joinscope
