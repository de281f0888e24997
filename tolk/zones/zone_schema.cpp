#include "tolk/zones/zone_schema.h"

#include <algorithm>
#include <vector>

#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

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

void ZoneSchema::convert(ADObject& object) const {
  if (object.getInt(TOLK_EXT_FILTER, 0) != ZoneObjectKind::zone || !isZoneObject(object)) return;
  const std::string name = object.getString(AD_CN, object.getString(AD_NAME, ""));
  if (!name.empty()) object[TOLK_ZONE_NAME] = name;
}

}  // namespace tolk
