// The cloud connectors of this host's zone: which there are, which one to use, and the next one
// when that fails.
#pragma once

#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_kset.h"
#include "cloud/connectors/connector_try_lists.h"
#include "cloud/http/connector_access.h"
#include "cloud/http/known_names.h"
#include "tolk/ldap/ad_agent.h"

namespace tolk {

/// One for the process. Every member may be called from any thread; none but the refresh, the check
/// of the site and GetSPNFromIwaURL waits for the network, and none holds a lock meanwhile.
class CloudConnectorLocator final : public ConnectorAccess {
 public:
  /// The directory agent that connectors are searched through. Set before the first getInstance().
  static std::shared_ptr<ADAgent> m_adagent;
  /// Guards the lists, the connector in use and what is known of the platform.
  static std::mutex gAccess;

  /// Makes the locator at the first call, with the connectors that the join settings keep, and
  /// installs it as ConnectorAccess::current(). Throws CloudConnectorException "Can not get
  /// ADAgent" without a directory agent.
  static CloudConnectorLocator& getInstance();

  /// With the connectors of the join settings below `ksetDirectory`, and kept there.
  explicit CloudConnectorLocator(std::string ksetDirectory);
  CloudConnectorLocator(const CloudConnectorLocator&) = delete;
  CloudConnectorLocator& operator=(const CloudConnectorLocator&) = delete;
  ~CloudConnectorLocator() override = default;

  [[nodiscard]] std::string getCloudConnector() override;
  void connectorFailed(const std::string& address) override;
  [[nodiscard]] std::string platformUrl() override;
  [[nodiscard]] IwaAddress getIwaUrl() override;
  [[nodiscard]] std::string GetSPNFromIwaURL(const std::string& url) override;

  /// What the background task does: refreshes unless multi-factor authentication is off. False when
  /// the task is not to come again, because PN::CLOUD_CONNECTOR_REFRESH_INTERVAL is 0. Throws
  /// nothing.
  bool UpdateCloudConnectors() noexcept;

  /// Searches, judges, builds the lists, chooses and stores. The lists stay as they were when the
  /// directory does not answer, and are empty when what the configuration names is no connector.
  /// Throws nothing; every failure is a record.
  void RefreshCloudConnectorsInfo(ADSession& session, const ZonePlatform& platform) noexcept;

  /// Sorts the connectors anew when the directory places this host in another site than before, or
  /// next to another one.
  /// Throws nothing.
  void checkSite() noexcept;

  /// Whether no refresh has succeeded since the last that failed, or at all; not while none is
  /// wanted.
  [[nodiscard]] bool needsRefresh() const noexcept { return needsRefresh_; }

  /// Whether there were connectors and all of them have failed since the last search.
  [[nodiscard]] bool isExhausted() const;

  /// PN::CLOUD_CONNECTOR_REFRESH_INTERVAL; its default where that is no time.
  [[nodiscard]] static long refreshIntervalSeconds();

  /// The state as text.
  [[nodiscard]] std::string dump();

 private:
  struct State {
    ZonePlatform platform;
    AgentPlace place;
    TextSet urls;
    TextSet tenantIds;
    std::vector<CloudConnector> connectors;        // of all lists
    std::map<std::string, std::size_t> positions;  // in connectors, by key
    ConnectorTryLists lists;

    void add(CloudConnector connector);
    [[nodiscard]] const CloudConnector* find(const std::string& key) const;
    [[nodiscard]] const CloudConnector* findAddress(const std::string& address) const;
    [[nodiscard]] std::vector<CloudConnector> listed(
        std::initializer_list<ConnectorList> which) const;
    void splitBySubnet();  // looks host names up
  };
  // The connector in use, or chosen now, while gAccess is held. Null without one.
  struct Choice {
    const CloudConnector* connector = nullptr;
    bool isNew = false;
  };
  [[nodiscard]] Choice chooseCurrent(const char* noneKnown, const char* noneLeft);

  [[nodiscard]] static std::unique_ptr<ADSession> openSession();
  [[nodiscard]] bool refreshWhenDue();
  void searchAndPublish(ADSession& session, const ZonePlatform& platform);
  void publish(State& fresh);
  void sortForSite();
  [[nodiscard]] State copyState() const;
  void readKset();
  [[nodiscard]] StoredConnectors toStore() const;
  void updateKsetFile();

  const std::string ksetDirectory_;
  std::atomic<bool> needsRefresh_ = true;
  State state_;             // guarded by gAccess
  bool searching_ = false;  // guarded by gAccess: one search at a time
  TextSet reported_;        // of whoever searches
  KnownNames principals_;   // by address of a site check
  std::mutex ksetWriting_;  // taken before gAccess; held for the file, never for the network
};

}  // namespace tolk
