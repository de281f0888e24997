// The state of the connectors as text for people.
#pragma once

#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"

namespace tolk {

/// What is shown.
struct ConnectorDumpFacts {
  std::string connectedUrl;  ///< of the platform that the connector in use leads to
  std::string zoneUrl;
  std::string zoneTenantId;
  TextSet urls;
  TextSet tenantIds;
  std::string proxyServer;  ///< "" when there is none
  std::string proxyAuthType;
  std::string current;  ///< host name of the connector in use
  std::vector<CloudConnector> currentSite;
  std::vector<CloudConnector> otherSites;
  std::vector<CloudConnector> discarded;
  std::vector<CloudConnector> invalid;
};

/// The whole text. What comes from the directory is made printable. Pure.
[[nodiscard]] std::string connectorDump(const ConnectorDumpFacts& facts);

}  // namespace tolk
