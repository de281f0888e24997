// The connectors as the join setting SETTING_CLOUD_CONNECTORS keeps them; docs/cloud.md describes
// the text.
#pragma once

#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_try_lists.h"

namespace tolk {

/// One line: a connector, and in which list it is to be tried.
struct StoredConnector {
  CloudConnector connector;
  ConnectorList list = ConnectorList::otherSites;
};

/// What is kept: the platform, and connectors with the one in use at the head.
struct StoredConnectors {
  std::string platformUrl;
  std::string tenantId;
  std::string connectorPlace;  ///< of ZonePlatform
  std::vector<StoredConnector> connectors;
};

/// Says in a record that the connector is not kept.
void logUnwritable(const StoredConnector& item);

/// The text. A connector that it cannot hold is left out, with a record. `withoutConnector` writes
/// a line with the platform alone when there is no connector; else there is no text then.
[[nodiscard]] std::string ksetText(const StoredConnectors& stored, bool withoutConnector);

/// Reads the text back; lines that are none are left out.
[[nodiscard]] StoredConnectors parseKset(const std::string& text);

}  // namespace tolk
