// The way from the transfers to the cloud connectors, without knowing the locator that finds them:
// the locator reads the proxy's settings, and the proxy's settings ask for the current connector.
#pragma once

#include <atomic>
#include <string>

namespace tolk {

/// Where the site check is made, and the Kerberos name of that service.
struct IwaAddress {
  std::string url;             ///< ends with "/"; "" when there is none
  std::string principal;       ///< "HTTP/host@REALM"
  std::string connector = {};  ///< "host:port" of the connector that offers it; "" when none does
};

/// The connectors as the rest of the cloud client sees them. For use by several threads.
class ConnectorAccess {
 public:
  virtual ~ConnectorAccess() = default;

  /// "host:port" of the current connector; selects one when none is current, "" when there is none.
  [[nodiscard]] virtual std::string getCloudConnector() = 0;
  /// Discards the connector with that "host:port", current or not; one that is unknown or discarded
  /// already is nothing, so that many who fail on one connector cost no other.
  virtual void connectorFailed(const std::string& address) = 0;
  /// The platform address of the zone, ending with "/"; "" when none is known.
  [[nodiscard]] virtual std::string platformUrl() = 0;
  /// The site check of the current connector.
  [[nodiscard]] virtual IwaAddress getIwaUrl() = 0;
  /// The Kerberos name for a site-check address of the configuration; "" when it cannot be found.
  [[nodiscard]] virtual std::string GetSPNFromIwaURL(const std::string& url) = 0;

  /// The installed one; null in a process without connectors.
  [[nodiscard]] static ConnectorAccess* current() noexcept { return installed.load(); }
  /// Installs `access`, which must outlive all transfers; null takes it away.
  static void install(ConnectorAccess* access) noexcept { installed.store(access); }

 private:
  static inline std::atomic<ConnectorAccess*> installed{nullptr};
};

}  // namespace tolk
