// Which connectors somebody who may say so stands behind.
#include "cloud/connectors/connector_trust.h"

#include <algorithm>

#include "cloud/connectors/cloud_connector.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/zones/zone_layout.h"

namespace tolk {

std::vector<std::string> trustedPlaces(const ZonePlatform& platform) {
  std::string named = Props().getProperty(PN::CLOUD_CONNECTOR_TRUSTED);
  if (trim(named).empty()) named = platform.connectorPlace;
  std::vector<std::string> places;
  for (const std::string& item : split(named, ';')) {
    const std::string place(trim(item));
    if (place.empty()) continue;
    try {
      (void)DN::domainFromDN(place);
      places.push_back(place);
    } catch (const SystemException& e) {
      logConnector(LogLevel::error, "%s: no cloud connector is trusted for it", {e.what()});
    }
  }
  return places;
}

bool isTrusted(const std::string& dn, const std::vector<std::string>& places) {
  try {
    return std::ranges::any_of(places,
                               [&dn](const std::string& place) { return DN::isWithin(dn, place); });
  } catch (const SystemException& e) {
    logConnector(LogLevel::debug, "%s", {e.what()});
    return false;
  }
}

void reportUntrusted(const CloudConnector& connector, TextSet& reported) {
  if (!reported.insert(connector.dn).second) return;
  logConnector(LogLevel::warning,
               "Cloud connector '%s' is not used: any computer may publish '%s'. Where an "
               "administrator put it, name its computer or a container above that in %s, or behind "
               "%s in the zone's description.",
               {connector.key(), connector.dn, std::string(PN::CLOUD_CONNECTOR_TRUSTED.key),
                std::string(kCloudConnectorsPrefix)});
}

}  // namespace tolk
