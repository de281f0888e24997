// Finds the connectors in the directory: all that are registered, those of one site, or the one
// that the configuration names.
#pragma once

#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"
#include "tolk/ldap/ad_agent.h"

namespace tolk {

/// What to search for.
struct ConnectorQuery {
  std::string filter;  ///< RFC 4515
  std::string host;    ///< of the one connector that the configuration names, "" without
  std::string port;
};

/// Records what is searched for.
void prepareSearchBegin(const ZonePlatform& platform, bool needsIwa);

/// The query for the connector that PN::CLOUD_CONNECTOR_OVERRIDE names. False when it names none,
/// or none that can be used.
bool prepareSpecifiedSearch(ConnectorQuery& query);

/// The query for all connectors, or with PN::CLOUD_CONNECTOR_LOCAL for those of `site`.
void prepareNormalSearch(ConnectorQuery& query, const std::string& site);

/// Objects that match and, in the same order, the objects of their hosts.
struct ConnectorObjects {
  std::vector<ADObject> connectors;
  std::vector<ADObject> hosts;
};

/// Asks the global catalog and, when that fails, the controller. Throws CloudConnectorException
/// when neither answers.
[[nodiscard]] ConnectorObjects getCloudConnectorListFromAD(ADSession& session,
                                                           const std::string& filter);

/// The whole search: prepares, asks and judges. `reported` as for processList. Throws
/// CloudConnectorException when the directory does not answer, ForeignConnectorException when what
/// answers to the configured name is no connector.
[[nodiscard]] FoundConnectors searchCloudConnetors(ADSession& session, const ZonePlatform& platform,
                                                   const std::string& site, TextSet& reported);

}  // namespace tolk
