#include "tolk/zones/zone_schema.h"

#include <algorithm>
#include <array>
#include <vector>

#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/zones/zone_layout.h"

namespace tolk {
namespace {

// The name above `dn`, "" at the top. A backslash takes the next character's meaning (RFC 4514).
std::string parentOf(const std::string& dn) {
  for (std::size_t at = 0; at < dn.size(); ++at) {
    if (dn[at] == '\\') {
      ++at;
    } else if (dn[at] == ',') {
      return dn.substr(at + 1);
    }
  }
  return {};
}

}  // namespace

bool isZoneObject(const ADObject& object) {
  const std::vector<std::string> classes = object.getStrings(AD_OBJECT_CLASS);
  return std::any_of(
             classes.begin(), classes.end(),
             [](const std::string& name) { return equalsIgnoringCase(name, ZONE_CLASS); }) &&
         object.getString(AD_DISPLAY_NAME, "").starts_with(ZONE_MARKER_PREFIX);
}

std::string zoneOfEntry(const std::string& entryDn) {
  const std::string computers = parentOf(entryDn);
  const std::string zone = parentOf(computers);
  const std::string expected = std::string("CN=") + ZONE_COMPUTERS + "," + zone;
  return !zone.empty() && equalsIgnoringCase(computers, expected) ? zone : std::string();
}

std::string zoneLayout(const ADObject& zone) {
  for (const std::string& value : zone.getStrings(AD_DESCRIPTION)) {
    if (value.starts_with(kLayoutPrefix)) return value.substr(kLayoutPrefix.size());
  }
  return std::string(SCHEMA_ORV_V1_0);
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
