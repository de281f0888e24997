// The cloud connectors of this host's zone: finding them, and keeping them over a restart.
#include <algorithm>
#include <utility>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/cloudconnectorlocator.h"
#include "cloud/connectors/connector_checks.h"
#include "cloud/connectors/connector_kset.h"
#include "cloud/connectors/connector_search.h"
#include "cloud/connectors/connector_trust.h"
#include "cloud/http/cloud_exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/join_settings_writer.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

/// Says that a search is under way, from construction on; not entered() when one is already.
class OneAtATime {
 public:
  OneAtATime(std::mutex& mutex, bool& busy)
      : mutex_(mutex), busy_(busy), entered_(!exchange(true)) {}
  OneAtATime(const OneAtATime&) = delete;
  OneAtATime& operator=(const OneAtATime&) = delete;
  ~OneAtATime() {
    if (entered_) exchange(false);
  }
  [[nodiscard]] bool entered() const noexcept { return entered_; }

 private:
  bool exchange(bool value) {
    const std::lock_guard lock(mutex_);
    return std::exchange(busy_, value);
  }

  std::mutex& mutex_;
  bool& busy_;
  bool entered_;
};

// Without a connector the platform's address is still worth keeping when it is reached in another
// way.
bool reachedWithoutConnector() {
  const Properties& properties = Props();
  return properties.getBool(PN::CLOUD_DIRECT_CONNECTION) ||
         !properties.getProperty(PN::CLOUD_PROXY_SERVER).empty();
}

}  // namespace

std::unique_ptr<ADSession> CloudConnectorLocator::openSession() {
  try {
    std::unique_ptr<ADSession> session = m_adagent->open();
    if (session->isHealthy()) return session;
  } catch (const Base_Exception& e) {
    logConnector(LogLevel::debug, "%s", {e.what()});
  }
  logConnector(LogLevel::error, "Connection healthy check failed.");
  return nullptr;
}

bool CloudConnectorLocator::UpdateCloudConnectors() noexcept {
  try {
    return refreshWhenDue();
  } catch (const std::exception& e) {
    logConnector(LogLevel::error, "UpdateCloudConnectors failed: %s", {e.what()});
    return true;
  }
}

long CloudConnectorLocator::refreshIntervalSeconds() {
  const Property& property = PN::CLOUD_CONNECTOR_REFRESH_INTERVAL;
  const long fallback = std::stol(std::string(property.value));
  const long seconds = Props().getTime(property, 's', fallback);
  return seconds < 0 ? fallback : seconds;
}

bool CloudConnectorLocator::refreshWhenDue() {
  constexpr const char* kOff = "MFA is not enabled, no need to refresh cloud connector.";
  if (!m_adagent->inZone() && !readZonePlatform(ADObject()).mfaEnabled) {
    logConnector(LogLevel::debug, kOff);
    needsRefresh_ = false;
    return true;
  }
  if (refreshIntervalSeconds() == 0) {
    logConnector(LogLevel::info,
                 "Background task of refreshing Pellion Connectors has been suspended due to the "
                 "interval being set to 0.");
    needsRefresh_ = false;
    return false;
  }
  const OneAtATime search(gAccess, searching_);
  if (!search.entered()) return true;
  needsRefresh_ = true;
  const std::unique_ptr<ADSession> session = openSession();
  if (session == nullptr) {
    // It is made up for once the agent is connected, or in a minute.
    if (!m_adagent->isConnected()) {
      logConnector(LogLevel::info,
                   "velkd Disconnected, delaying UpdateConnector2ComputerObject...");
    }
    return true;
  }
  principals_.forget();
  const ZonePlatform platform = readZonePlatform(session->zone());
  if (platform.mfaEnabled) {
    RefreshCloudConnectorsInfo(*session, platform);
  } else {
    logConnector(LogLevel::debug, kOff);
    needsRefresh_ = false;
  }
  return true;
}

void CloudConnectorLocator::RefreshCloudConnectorsInfo(ADSession& session,
                                                       const ZonePlatform& platform) noexcept {
  try {
    searchAndPublish(session, platform);
    updateKsetFile();
    needsRefresh_ = false;
    logConnector(LogLevel::info, "Refresh cloud connectors info done");
  } catch (const std::exception& e) {
    logConnector(LogLevel::error, "Fail to refresh Pellion Connector information: %s", {e.what()});
  }
}

void CloudConnectorLocator::searchAndPublish(ADSession& session, const ZonePlatform& platform) {
  State fresh;
  fresh.platform = platform;
  fresh.place = session.place();
  FoundConnectors found;
  try {
    found = searchCloudConnetors(session, platform, fresh.place.site, reported_);
  } catch (const ForeignConnectorException&) {
    // The configuration allows no other connector than the one it names.
    publish(fresh);
    updateKsetFile();
    throw;
  } catch (const CloudConnectorException&) {
    logConnector(LogLevel::error, "Failed to search cloud connectors.");
    throw;
  }
  logConnector(LogLevel::debug, "Inserting cloud connectors into separated lists");
  const bool needsIwa = iwaRequired();
  for (CloudConnector& connector : found.valid) {
    // A host that was joined anew may have left an object of the same name.
    if (fresh.find(connector.key()) != nullptr) continue;
    const bool available = isAvailableConnector(connector, needsIwa);
    if (!available) logUnavailableConnector(connector, needsIwa);
    fresh.lists.insertIntoTryList(connector, fresh.place.site, fresh.place.nextClosestSite,
                                  available);
    fresh.add(std::move(connector));
  }
  for (CloudConnector& connector : found.invalid) {
    if (fresh.find(connector.key()) != nullptr) continue;
    fresh.lists.append(ConnectorList::invalid, connector.key());
    fresh.add(std::move(connector));
  }
  fresh.urls = std::move(found.urls);
  fresh.tenantIds = std::move(found.tenantIds);
  fresh.splitBySubnet();
  publish(fresh);
}

void CloudConnectorLocator::publish(State& fresh) {
  if (!fresh.lists.nothingLeft()) (void)fresh.lists.selectCurrentCloudConnector();
  const std::lock_guard lock(gAccess);
  std::swap(state_, fresh);
}

void CloudConnectorLocator::checkSite() noexcept {
  try {
    const OneAtATime search(gAccess, searching_);
    if (search.entered()) sortForSite();
  } catch (const std::exception& e) {
    logConnector(LogLevel::error, "Fail to refresh Pellion Connector information: %s", {e.what()});
  }
}

void CloudConnectorLocator::sortForSite() {
  if (copyState().connectors.empty()) return;
  const std::unique_ptr<ADSession> session = openSession();
  if (session == nullptr) return;
  AgentPlace place = session->place();
  State fresh = copyState();
  // What cannot be found out now is what it was.
  if (place.site.empty()) return;
  if (place.site == fresh.place.site &&
      (place.nextClosestSite.empty() || place.nextClosestSite == fresh.place.nextClosestSite)) {
    return;
  }
  fresh.place = std::move(place);
  fresh.lists.rebuildTryList(fresh.connectors, fresh.place.site, fresh.place.nextClosestSite);
  fresh.splitBySubnet();
  // What has failed meanwhile stays dropped.
  const State now = copyState();
  for (const std::string& key : now.lists.list(ConnectorList::discarded)) fresh.lists.discard(key);
  publish(fresh);
  updateKsetFile();
}

void CloudConnectorLocator::readKset() {
  logConnector(LogLevel::debug, "Get cloud connectors info from kset.");
  try {
    const JoinSettings settings(ksetDirectory_);
    StoredConnectors stored = parseKset(settings.load(SETTING_CLOUD_CONNECTORS, false, false));
    state_.platform.url = stored.platformUrl;
    state_.platform.tenantId = stored.tenantId;
    state_.place.site = settings.load(SETTING_SUBNET_SITE, false, false);
    state_.platform.connectorPlace = stored.connectorPlace;
    const std::vector<std::string> places = trustedPlaces(state_.platform);
    for (StoredConnector& item : stored.connectors) {
      if (!isTrusted(item.connector.dn, places)) continue;
      if (state_.find(item.connector.key()) != nullptr) continue;
      state_.lists.append(item.list, item.connector.key());
      state_.urls.insert(item.connector.url);
      state_.tenantIds.insert(item.connector.tenantId);
      state_.add(std::move(item.connector));
    }
  } catch (const Base_Exception& e) {
    logConnector(LogLevel::warning, "%s", {e.what()});
  }
  logConnector(LogLevel::debug, "Getting preferred connector");
  if (!state_.lists.nothingLeft()) (void)state_.lists.selectCurrentCloudConnector();
  logConnector(LogLevel::debug, "Current cloud URL is : %s", {state_.platform.url});
  logConnector(LogLevel::debug, "Current cloud connector is : %s", {state_.lists.current()});
}

// The connector in use first: it is what `--orbinfo` reads.
StoredConnectors CloudConnectorLocator::toStore() const {
  const std::lock_guard lock(gAccess);
  const std::string current = state_.lists.current();
  std::vector<CloudConnector> all =
      state_.listed({ConnectorList::sameSubnet, ConnectorList::otherSubnet, ConnectorList::site,
                     ConnectorList::otherSites});
  std::stable_partition(all.begin(), all.end(), [&current](const CloudConnector& connector) {
    return connector.key() == current;
  });
  StoredConnectors stored{.platformUrl = state_.platform.url,
                          .tenantId = state_.platform.tenantId,
                          .connectorPlace = state_.platform.connectorPlace,
                          .connectors = {}};
  if (stored.platformUrl.empty() && !all.empty()) stored.platformUrl = all.front().url;
  for (CloudConnector& connector : all) {
    const auto place = state_.lists.placeOf(connector.key());
    stored.connectors.push_back(
        {.connector = std::move(connector), .list = place.value_or(ConnectorList::otherSites)});
  }
  return stored;
}

void CloudConnectorLocator::updateKsetFile() {
  const std::lock_guard writing(ksetWriting_);
  logConnector(LogLevel::debug, "Update cloud connectors kset file.");
  const StoredConnectors stored = toStore();
  const std::string text = ksetText(stored, reachedWithoutConnector());
  try {
    writeJoinSetting(ksetDirectory_, SETTING_CLOUD_CONNECTORS, std::string(trim(text)));
  } catch (const IOException& e) {
    logConnector(LogLevel::error, "%s", {e.what()});
    std::for_each(stored.connectors.begin(), stored.connectors.end(), logUnwritable);
  }
}

}  // namespace tolk
