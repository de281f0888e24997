// The cloud connectors of this host's zone: handing them out.
#include "cloud/connectors/cloudconnectorlocator.h"

#include <algorithm>
#include <utility>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_attributes.h"
#include "cloud/connectors/connector_checks.h"
#include "cloud/connectors/connector_dump.h"
#include "cloud/connectors/connector_subnets.h"
#include "cloud/connectors/iwa_principal.h"
#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/http_proxy.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {}  // namespace

std::shared_ptr<ADAgent> CloudConnectorLocator::m_adagent;
std::mutex CloudConnectorLocator::gAccess;

CloudConnectorLocator& CloudConnectorLocator::getInstance() {
  if (m_adagent == nullptr) throw CloudConnectorException("Can not get ADAgent");
  static CloudConnectorLocator locator(kStateDirectory);
  static const bool installed = [] {
    install(&locator);
    return true;
  }();
  static_cast<void>(installed);
  return locator;
}

CloudConnectorLocator::CloudConnectorLocator(std::string ksetDirectory)
    : ksetDirectory_(std::move(ksetDirectory)) {
  fillTolkAttributeMap();
  readKset();
}

void CloudConnectorLocator::State::add(CloudConnector connector) {
  positions.emplace(connector.key(), connectors.size());
  connectors.push_back(std::move(connector));
}

const CloudConnector* CloudConnectorLocator::State::find(const std::string& key) const {
  const auto position = positions.find(key);
  return position == positions.end() ? nullptr : &connectors[position->second];
}

const CloudConnector* CloudConnectorLocator::State::findAddress(const std::string& address) const {
  const auto found = std::ranges::find(connectors, address, &CloudConnector::address);
  return found == connectors.end() ? nullptr : &*found;
}

std::vector<CloudConnector> CloudConnectorLocator::State::listed(
    std::initializer_list<ConnectorList> which) const {
  std::vector<CloudConnector> all;
  for (const ConnectorList list : which) {
    for (const std::string& key : lists.list(list)) {
      const CloudConnector* const connector = find(key);
      if (connector != nullptr) all.push_back(*connector);
    }
  }
  return all;
}

void CloudConnectorLocator::State::splitBySubnet() {
  const bool wanted = Props().getBool(PN::DEFAULT_CLOUD_CONNECTOR_SUBNET_PREFERENCE);
  if (!wanted || !place.address) return;
  const ConnectorAddresses addresses =
      resolveConnectors(lists.list(ConnectorList::site), connectors);
  insertIntoTryListBySubnets(lists, addresses, *place.address);
}

CloudConnectorLocator::Choice CloudConnectorLocator::chooseCurrent(const char* noneKnown,
                                                                   const char* noneLeft) {
  Choice choice{.connector = state_.find(state_.lists.current())};
  if (choice.connector != nullptr) return choice;
  if (state_.lists.nothingLeft() && state_.lists.list(ConnectorList::discarded).empty()) {
    logConnector(LogLevel::debug, noneKnown);
    return choice;
  }
  if (state_.lists.selectCurrentCloudConnector()) {
    choice = {.connector = state_.find(state_.lists.current()), .isNew = true};
  }
  if (choice.connector == nullptr) logConnector(LogLevel::warning, noneLeft);
  return choice;
}

bool CloudConnectorLocator::isExhausted() const {
  const std::lock_guard lock(gAccess);
  return state_.lists.nothingLeft() && !state_.lists.list(ConnectorList::discarded).empty();
}

std::string CloudConnectorLocator::getCloudConnector() {
  std::string address;
  bool isNew = false;
  {
    const std::lock_guard lock(gAccess);
    const Choice choice =
        chooseCurrent("getCloudConnector: no valid connectors in try list",
                      "getCloudConnector: Can't get a valid cloud connector for this time");
    if (choice.connector == nullptr) return {};
    logConnector(LogLevel::debug, "getCloudConnector: current cloud connector host DC FQDN=%s",
                 {choice.connector->fqdn});
    address = choice.connector->address;
    isNew = choice.isNew;
  }
  if (isNew) updateKsetFile();
  return address;
}

void CloudConnectorLocator::connectorFailed(const std::string& address) {
  const std::lock_guard lock(gAccess);
  const CloudConnector* const failed = state_.findAddress(address);
  if (failed == nullptr) return;
  if (failed->key() == state_.lists.current()) return state_.lists.resetCurrentCloudConnector();
  state_.lists.discard(failed->key());
}

std::string CloudConnectorLocator::platformUrl() {
  const std::lock_guard lock(gAccess);
  if (!state_.platform.url.empty()) return withFinalSlash(state_.platform.url);
  const CloudConnector* const current = state_.find(state_.lists.current());
  return current == nullptr ? std::string() : withFinalSlash(current->url);
}

IwaAddress CloudConnectorLocator::getIwaUrl() {
  if (!iwaRequired()) {
    logConnector(LogLevel::debug, "getIwaUrl: IWA is not required");
    return {};
  }
  CloudConnector connector;
  bool isNew = false;
  {
    const std::lock_guard lock(gAccess);
    const Choice choice =
        chooseCurrent("getIwaUrl: no valid connectors in try list",
                      "getIwaUrl: Can't get a valid cloud connector for this time");
    if (choice.connector == nullptr) return {};
    connector = *choice.connector;
    isNew = choice.isNew;
  }
  logConnector(LogLevel::debug, "getIwaUrl: current cloud connector FQDN=%s", {connector.fqdn});
  if (isNew) updateKsetFile();
  // One that was chosen while the site check was not wanted.
  if (!isAvailableConnector(connector, true)) {
    logUnavailableConnector(connector, true);
    return {};
  }
  IwaAddress iwa{.url = {}, .principal = {}, .connector = connector.address};
  iwa.url = "https://" + connector.iwaHost + ":" + connector.iwaHttpsPort + "/";
  try {
    iwa.principal = iwaPrincipal(connector.iwaHost, connector.dn);
  } catch (const Base_Exception& e) {
    logConnector(
        LogLevel::warning,
        "getIwaUrl: fail to get SPN due to exception; err_msg '%s'. Try to get SPN from IWA "
        "URL.",
        {e.what()});
    iwa.principal = GetSPNFromIwaURL(iwa.url);
  }
  return iwa;
}

std::string CloudConnectorLocator::GetSPNFromIwaURL(const std::string& url) {
  std::string principal;
  if (principals_.find(url, principal)) return principal;
  principal = findIwaPrincipal(m_adagent.get(), url);
  principals_.remember(url, principal);
  return principal;
}

CloudConnectorLocator::State CloudConnectorLocator::copyState() const {
  const std::lock_guard lock(gAccess);
  return state_;
}

std::string CloudConnectorLocator::dump() {
  try {
    const State state = copyState();
    const CloudConnector* const current = state.find(state.lists.current());
    const HttpProxy proxy = getProxySettings();
    using List = ConnectorList;
    return connectorDump(
        {.connectedUrl = current == nullptr ? std::string() : current->url,
         .zoneUrl = state.platform.url,
         .zoneTenantId = state.platform.tenantId,
         .urls = state.urls,
         .tenantIds = state.tenantIds,
         // Somebody may have put a user and a password before the host.
         .proxyServer = proxy.server.substr(proxy.server.rfind('@') + 1),
         .proxyAuthType = proxy.authType,
         .current = current == nullptr ? std::string() : current->fqdn,
         .currentSite = state.listed({List::sameSubnet, List::otherSubnet, List::site}),
         .otherSites = state.listed({List::otherSites}),
         .discarded = state.listed({List::discarded}),
         .invalid = state.listed({List::invalid})});
  } catch (const std::exception& e) {
    logConnector(LogLevel::error, "Fail to dump Pellion Connector information: %s", {e.what()});
    return {};
  }
}

}  // namespace tolk
