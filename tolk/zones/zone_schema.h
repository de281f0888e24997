// How the directory shows zones and the computers in them, and what the agent makes of such an
// object. docs/zone-schema.md describes the objects.
#pragma once

#include <string>
#include <string_view>

#include "tolk/ldap/ad_object.h"

namespace tolk {

/// What an object stands for; the value of its attribute TOLK_EXT_FILTER while it is converted.
struct ZoneObjectKind {
  static constexpr int computer = 2;
  static constexpr int zone = 26;
};

/// Whether `object`, read with objectClass and displayName, is a zone: a container with a version
/// marker.
bool isZoneObject(const ADObject& object);

/// The name of the zone that contains a computer's zone entry: "CN=E,CN=Computers,CN=Z,DC=x" gives
/// "CN=Z,DC=x"; "" for any other name.
std::string zoneOfEntry(const std::string& entryDn);

/// What stands behind `prefix`, kCloudUrlPrefix for example, in a zone object's description; ""
/// when no value begins so.
std::string zoneNote(const ADObject& zone, std::string_view prefix);

/// The layout that a zone object's description names, "orv_v2_0" for example. Zones that are older
/// than that note are of the first standard layout, "orv_v1_0".
std::string zoneLayout(const ADObject& zone);

/// Whether a zone may be kept in that layout: the names of kset.schema but "auto" and "null".
bool isZoneLayout(std::string_view name) noexcept;

/// Converts objects of all layouts, which differ in how users are kept and not in zones and
/// computers.
class ZoneSchema {
 public:
  /// Adds the attributes that exist in memory only, as TOLK_EXT_FILTER of the object says what it
  /// stands for. A zone (26): TOLK_ZONE_NAME, its `cn`, or its `name` without one. Any other value,
  /// and an object that is no zone, stays as it is.
  void convert(ADObject& object) const;
};

}  // namespace tolk
