// Finds the connectors in the directory.
#include "cloud/connectors/connector_search.h"

#include <utility>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_attributes.h"
#include "cloud/connectors/connector_checks.h"
#include "cloud/http/cloud_exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"

namespace tolk {
namespace {

constexpr const char* kFilterStart = "(&(objectclass=serviceConnectionPoint)(cn=proxy)";

ConnectorObjects searchIn(ADSession& session, ADSession::Server server, const std::string& filter) {
  ConnectorObjects found;
  std::vector<std::string> hostNames;
  for (ADObject& object : session.search(server, filter, {AD_KEYWORDS, AD_OBJECT_GUID})) {
    hostNames.push_back(DN::parentOf(object.dn()));
    found.connectors.push_back(std::move(object));
  }
  found.hosts = session.fetch(server, hostNames, {AD_DNS_HOST_NAME});
  return found;
}

ConnectorObjects searchGlobalCatalog(ADSession& session, const std::string& filter) {
  try {
    return searchIn(session, ADSession::Server::globalCatalog, filter);
  } catch (const LDAPException& e) {
    logConnector(LogLevel::warning,
                 "Failed to search cloud connectors in GC due to LDAP exception");
    logConnector(LogLevel::debug, "%s", {e.what()});
    throw CloudConnectorException("Failed to search Pellion Connectors in GC due to LDAP exception",
                                  e.code());
  } catch (const Base_Exception& e) {
    logConnector(LogLevel::debug, "%s", {e.what()});
    throw CloudConnectorException("Failed to search Pellion Connectors in GC", e.code());
  }
}

ConnectorObjects searchController(ADSession& session, const std::string& filter) {
  try {
    return searchIn(session, ADSession::Server::controller, filter);
  } catch (const Base_Exception& e) {
    logConnector(LogLevel::debug, "%s", {e.what()});
    logConnector(LogLevel::error, "Failed to search cloud connectors in AD");
    throw CloudConnectorException("Failed to search Pellion Connectors in AD", e.code());
  }
}

// Of the answers to the configured name: the first, if it is the one that is meant.
void keepSpecified(FoundConnectors& found, const ConnectorQuery& query) {
  if (found.valid.size() > 1) {
    logConnector(LogLevel::warning, "Got multiple cloud connectors, will keep only the first one.");
    found.valid.resize(1);
  }
  if (found.valid.empty()) return;
  const ConnectorAddress got = splitAddress(found.valid.front().address);
  if (equalsIgnoringCase(got.host, query.host) && got.port == query.port) return;
  logConnector(
      LogLevel::error,
      "Got connector as '%s:%s', not as specified:'%s:%s', no correct connector for MFA "
      "now, please check and reset or unset %s.",
      {got.host, got.port, query.host, query.port, std::string(PN::CLOUD_CONNECTOR_OVERRIDE.key)});
  found.valid.clear();
}

void checkSpecified(const ConnectorObjects& objects) {
  for (const ADObject& object : objects.connectors) {
    if (isConnectorObject(object)) return;
  }
  if (objects.connectors.empty()) return;
  throw ForeignConnectorException("Cloud connector '" + objects.connectors.front().dn() +
                                  "' is not a Pellion Connector");
}

}  // namespace

void prepareSearchBegin(const ZonePlatform& platform, bool needsIwa) {
  logConnector(
      LogLevel::debug,
      "Refresh cloud connector information for tenant ID '%s' and cloud URL '%s' with IWA %s",
      {platform.tenantId, platform.url, needsIwa ? "enabled" : "disabled"});
}

bool prepareSpecifiedSearch(ConnectorQuery& query) {
  const std::string key(PN::CLOUD_CONNECTOR_OVERRIDE.key);
  const std::string address = Props().getProperty(PN::CLOUD_CONNECTOR_OVERRIDE);
  if (address.empty()) return false;
  logConnector(LogLevel::info,
               "Found '%s' set as:'%s', will use this connector only, and abandon the auto-search "
               "of connectors",
               {key, address});
  ConnectorAddress parts = splitAddress(address);
  if (parts.host.empty()) {
    logConnector(LogLevel::error,
                 "Cannot get the connector host name from the address: %s, MFA may not work",
                 {address});
    logConnector(LogLevel::warning, "Invalid settting for '%s', ignored to use real search result",
                 {key});
    return false;
  }
  logConnector(LogLevel::info, "Set cloud connector from '%s' as: %s",
               {key, parts.host + ":" + parts.port});
  logConnector(LogLevel::debug, "Get %s connector info from AD", {parts.host});
  query.filter = std::string(kFilterStart) + "(keywords=*:net.tcp://" +
                 DN::escapeLDAPFilter(parts.host) + ":*/OnPremRpc))";
  query.host = std::move(parts.host);
  query.port = std::move(parts.port);
  return true;
}

void prepareNormalSearch(ConnectorQuery& query, const std::string& site) {
  query.filter = kFilterStart;
  if (Props().getBool(PN::CLOUD_CONNECTOR_LOCAL)) {
    if (site.empty()) {
      logConnector(
          LogLevel::error,
          "Warning: Unable to determine Pellion Agent site, will search cloud connector in "
          "all sites.");
    } else {
      logConnector(LogLevel::debug, "Searching cloud connectors located in current site %s",
                   {site});
      query.filter +=
          std::string("(keywords=") + kSiteKeyword + ":" + DN::escapeLDAPFilter(site) + ")";
    }
  }
  query.filter += ")";
}

ConnectorObjects getCloudConnectorListFromAD(ADSession& session, const std::string& filter) {
  try {
    return searchGlobalCatalog(session, filter);
  } catch (const CloudConnectorException&) {
    logConnector(LogLevel::warning, "Failed to search cloud connectors in GC, trying DC");
  }
  return searchController(session, filter);
}

FoundConnectors searchCloudConnetors(ADSession& session, const ZonePlatform& platform,
                                     const std::string& site, TextSet& reported) {
  ConnectorQuery query;
  prepareSearchBegin(platform, iwaRequired());
  if (!prepareSpecifiedSearch(query)) prepareNormalSearch(query, site);
  ConnectorObjects objects = getCloudConnectorListFromAD(session, query.filter);
  if (!query.host.empty()) checkSpecified(objects);
  FoundConnectors found = processList(objects.connectors, objects.hosts, platform, reported);
  if (!query.host.empty()) keepSpecified(found, query);
  return found;
}

}  // namespace tolk
