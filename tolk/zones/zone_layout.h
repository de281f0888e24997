// How the directory stores zones, the computers in them and the way a computer was joined: the
// classes, attributes and values of all layouts, in one place. docs/zone-schema.md explains them.
#pragma once

#include <string_view>

namespace tolk {

/// Class of a zone object.
inline constexpr char ZONE_CLASS[] = "container";

/// Version markers: the attribute displayName of a zone object. A container whose displayName
/// begins with the prefix is a zone, also when the version behind it is not known here.
inline constexpr std::string_view ZONE_MARKER_PREFIX = "$OrvaldZone";
inline constexpr std::string_view ZONE_VERSION2 = "$OrvaldZone2";
inline constexpr std::string_view ZONE_VERSION3 = "$OrvaldZone3";
inline constexpr std::string_view ZONE_VERSION4 = "$OrvaldZone4";
inline constexpr std::string_view ZONE_VERSION5 = "$OrvaldZone5";
inline constexpr std::string_view ZONE_VERSION6 = "$OrvaldZone6";
inline constexpr std::string_view ZONE_VERSION7 = "$OrvaldZone7";
inline constexpr std::string_view ZONE_VERSION9 = "$OrvaldZone9";

/// Values of a zone object's `description`, each with a text behind it: the layout (a name of
/// kset.schema from orv_v1_0 on; orv_v1_0 without one), and where a zone of version 6 and later has
/// its cloud platform, and the connectors to it.
inline constexpr std::string_view kLayoutPrefix = "OrvaldLayout:";
inline constexpr std::string_view kCloudUrlPrefix = "OrvaldCloudUrl:";
inline constexpr std::string_view kTenantIdPrefix = "OrvaldTenantId:";
inline constexpr std::string_view kCloudConnectorsPrefix = "OrvaldCloudConnectors:";

/// A computer's entry in a zone: a serviceConnectionPoint with this value among its `keywords`, in
/// the container CN=Computers of the zone. Its `managedBy` names the computer object; the directory
/// clears that link when the computer object is deleted, which makes the entry an orphan.
inline constexpr char kZoneComputersContainer[] = "Computers";
inline constexpr std::string_view kZoneEntryKeyword = "OrvaldZoneComputer";

/// A joined computer's own object says in operatingSystemServicePack which agent joined it and how:
/// "Orvald 5.7.0 zone". Agents before 4.2 leave the last word out.
inline constexpr std::string_view kAgentPrefix = "Orvald ";
inline constexpr std::string_view kJoinedToZone = "zone";
inline constexpr std::string_view kJoinedToAutoZone = "auto";
inline constexpr std::string_view kJoinedBySprig = "sprig";
inline constexpr std::string_view kJoinedByOem = "oem";

}  // namespace tolk
