// Which connectors somebody who may say so stands behind.
//
// By the default rights of Active Directory every computer account may put objects below its own
// object, so that an object says nothing of who made it; nor does its owner, which a controller may
// take from whoever adds the object. Where it lies is what no computer chooses: a place that an
// administrator has named, below which administrators alone put computers.
#pragma once

#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"

namespace tolk {

/// The distinguished names that connectors have to lie below: those of PN::CLOUD_CONNECTOR_TRUSTED,
/// else the zone's; none without either. One that is no name is left out, with a record.
[[nodiscard]] std::vector<std::string> trustedPlaces(const ZonePlatform& platform);

/// Whether the connector object `dn` is one of `places`, or lies below one.
[[nodiscard]] bool isTrusted(const std::string& dn, const std::vector<std::string>& places);

/// Says in a record, once for each connector, that it is not used, and what would change that.
void reportUntrusted(const CloudConnector& connector, TextSet& reported);

}  // namespace tolk
