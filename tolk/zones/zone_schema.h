// How the directory shows zones and the computers in them, and what the agent makes of such an
// object. docs/zones.md describes the objects.
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

/// Every version marker begins so: the attribute displayName of a zone object.
inline constexpr std::string_view ZONE_MARKER_PREFIX = "$OrvaldZone";
/// Class of a zone object.
inline constexpr char ZONE_CLASS[] = "container";
/// Name of the container inside a zone that holds its computers' entries.
inline constexpr char ZONE_COMPUTERS[] = "Computers";

/// Whether `object`, read with objectClass and displayName, is a zone: a container with a version
/// marker.
bool isZoneObject(const ADObject& object);

/// The name of the zone that contains a computer's zone entry: "CN=E,CN=Computers,CN=Z,DC=x" gives
/// "CN=Z,DC=x"; "" for any other name.
std::string zoneOfEntry(const std::string& entryDn);

/// Converts objects of the standard layout.
class ZoneSchema {
 public:
  /// Adds the attributes that exist in memory only, as TOLK_EXT_FILTER of the object says what it
  /// stands for. A zone (26): TOLK_ZONE_NAME, its `cn`, or its `name` without one. Any other value,
  /// and an object that is no zone, stays as it is.
  void convert(ADObject& object) const;
};

}  // namespace tolk
