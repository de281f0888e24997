// What is known of one cloud connector, and of the platform that connectors lead to.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "cloud/http/cloud_log.h"
#include "tolk/base/text.h"

namespace tolk {

/// The records of everything about connectors.
inline constexpr CloudLog logConnector{"base.cloudconnector.locator"};

/// What a connector offers and has configured; the sum is the "services" number of the records.
struct ConnectorService {
  static constexpr unsigned kWebProxy = 1;
  static constexpr unsigned kIwa = 2;  ///< the site check with integrated Windows authentication
};

/// One connector, as its directory object and its host's say. Ports are decimal numbers.
struct CloudConnector {
  std::string dn;       ///< of the connector's object
  std::string name;     ///< of its host's object
  std::string fqdn;     ///< of its host, in lower case; "" when the directory does not say
  std::string address;  ///< "host:port" of the web proxy
  std::string port;     ///< of the web proxy
  std::string site;
  std::string url;  ///< of the platform instance that it serves
  std::string tenantId;
  std::string iwaHost;
  std::string iwaHttpPort;
  std::string iwaHttpsPort;
  unsigned services = 0;

  /// What lists know it by: its host name, or its object's name while it has none.
  [[nodiscard]] const std::string& key() const noexcept { return fqdn.empty() ? dn : fqdn; }
};

/// The cloud platform of the zone that this host is in.
struct ZonePlatform {
  bool mfaEnabled = false;    ///< multi-factor authentication
  bool hierarchical = false;  ///< the zone names its platform itself
  std::string url;            ///< "" when none is given
  std::string tenantId;       ///< "" when none is given
  /// Below which distinguished names the zone trusts connectors, separated by ";".
  std::string connectorPlace;
};

/// Orders and compares texts as the directory does.
struct LessIgnoringCase {
  [[nodiscard]] bool operator()(const std::string& left, const std::string& right) const noexcept {
    return lessIgnoringCase(left, right);
  }
};
using TextSet = std::set<std::string, LessIgnoringCase>;

/// What a search has found.
struct FoundConnectors {
  std::vector<CloudConnector> valid;    ///< in the directory's order
  std::vector<CloudConnector> invalid;  ///< keywords missing or wrong
  TextSet urls;                         ///< all platform addresses seen
  TextSet tenantIds;                    ///< all platform instances seen
};

}  // namespace tolk
