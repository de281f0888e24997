// Zones and entries are known by class, marker and place; notes are values of the description
// with a prefix.
#include "tolk/zones/zone_schema.h"

#include <algorithm>
#include <array>
#include <vector>

#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/zones/zone_layout.h"

namespace tolk {
namespace {

// As the directory compares texts in a filter.
bool startsWith(std::string_view text, std::string_view prefix) {
  return equalsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

}  // namespace

bool isZoneObject(const ADObject& object) {
  const std::vector<std::string> classes = object.getStrings(AD_OBJECT_CLASS);
  return std::any_of(
             classes.begin(), classes.end(),
             [](const std::string& name) { return equalsIgnoringCase(name, ZONE_CLASS); }) &&
         startsWith(object.getString(AD_DISPLAY_NAME, ""), ZONE_MARKER_PREFIX);
}

std::string zoneOfEntry(const std::string& entryDn) {
  const std::string computers = DN::parentOf(entryDn);
  const std::string zone = DN::parentOf(computers);
  const std::string expected = std::string("CN=") + kZoneComputersContainer + "," + zone;
  return !zone.empty() && equalsIgnoringCase(computers, expected) ? zone : std::string();
}

std::string zoneNote(const ADObject& zone, std::string_view prefix) {
  for (const std::string& value : zone.getStrings(AD_DESCRIPTION)) {
    if (startsWith(value, prefix)) return value.substr(prefix.size());
  }
  return {};
}

std::string zoneLayout(const ADObject& zone) {
  const std::string noted = toLower(zoneNote(zone, kLayoutPrefix));
  return noted.empty() ? std::string(SCHEMA_ORV_V1_0) : noted;
}

bool isZoneLayout(std::string_view name) noexcept {
  static constexpr std::array kLayouts{SCHEMA_ORV_V1_0, SCHEMA_ORV_V2_0, SCHEMA_ORV_R2,
                                       SCHEMA_SFU_V3_0, SCHEMA_SFU_V3_0V1};
  return std::find(kLayouts.begin(), kLayouts.end(), name) != kLayouts.end();
}

void ZoneSchema::convert(ADObject& object) const {
  if (object.getInt(TOLK_EXT_FILTER, 0) != ZoneObjectKind::zone || !isZoneObject(object)) return;
  const std::string name = object.getString(AD_CN, object.getString(AD_NAME, ""));
  if (!name.empty()) object[TOLK_ZONE_NAME] = name;
}

}  // namespace tolk
