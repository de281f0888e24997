// How a connector's directory object describes it: a serviceConnectionPoint whose keywords are
// "KEYWORD:VALUE", below the object of the computer that it runs on.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "cloud/connectors/cloud_connector.h"
#include "tolk/ldap/ad_object.h"

namespace tolk {

// Attributes that exist in memory only, on connector objects whose keywords were read.
inline constexpr char TOLK_CLOUD_URL[] = "tolkCloudUrl";
inline constexpr char TOLK_CLOUD_CONNECTOR_PORT[] = "tolkCloudConnectorPort";
inline constexpr char TOLK_CLOUD_PROXY_SCP[] = "tolkCloudProxyScp";
inline constexpr char TOLK_CLOUD_CONNECTOR_SITE[] = "tolkCloudConnectorSite";
inline constexpr char TOLK_CLOUD_TENANT_ID[] = "tolkCloudTenantId";
inline constexpr char TOLK_CLOUD_PROXY_FQDN[] = "tolkCloudProxyFqdn";
inline constexpr char TOLK_CLOUD_WEB_PROXY[] = "tolkCloudWebProxy";
inline constexpr char TOLK_CLOUD_WEB_PROXYENABLED[] = "tolkCloudWebProxyEnabled";
inline constexpr char TOLK_CLOUD_CONNECTOR_IWA_ENABLED[] = "tolkCloudConnectorIwaEnabled";
inline constexpr char TOLK_CLOUD_CONNECTOR_IWA_HOSTNAME[] = "tolkCloudConnectorIwaHostname";
inline constexpr char TOLK_CLOUD_CONNECTOR_IWA_USEHTTPS[] = "tolkCloudConnectorIwaUseHttps";
inline constexpr char TOLK_CLOUD_CONNECTOR_IWA_HTTP_PORT[] = "tolkCloudConnectorIwaHttpPort";
inline constexpr char TOLK_CLOUD_CONNECTOR_IWA_HTTPS_PORT[] = "tolkCloudConnectorIwaHttpsPort";

inline constexpr char kSiteKeyword[] = "pellion.mobile.proxySite";
inline constexpr char kDefaultConnectorPort[] = "8080";

/// Keyword to attribute. Empty until it is filled; compares keywords without case.
using TolkAttributeMap = std::map<std::string, std::string, LessIgnoringCase>;
extern TolkAttributeMap gTolkAttributeMap;
/// Fills the map at the first call. From any thread.
void fillTolkAttributeMap();
/// The keyword whose values an attribute holds; "" for another attribute.
[[nodiscard]] std::string keywordOf(std::string_view attribute);

/// Copies the values of a connector's keywords to its attributes, and adds AD_DNS_HOST_NAME from
/// `host`, the object of its computer, and what follows from it. False, with a record that says
/// why, when there are no keywords to read.
bool loadAttributes(ADObject& connector, const ADObject& host);

/// Whether the object is a connector of this product: it has one of its keywords at least.
[[nodiscard]] bool isConnectorObject(const ADObject& connector);

/// The facts of an object whose attributes were loaded.
[[nodiscard]] CloudConnector readConnector(const ADObject& connector);

/// The name of the object that a connector lies in: "FS1" of "CN=proxy,CN=FS1,OU=Servers,...".
[[nodiscard]] std::string hostObjectName(const std::string& connectorDn);

/// "host:port", "host" (port kDefaultConnectorPort) taken apart; an empty host when the text is
/// neither.
struct ConnectorAddress {
  std::string host;
  std::string port;
};
[[nodiscard]] ConnectorAddress splitAddress(const std::string& address);

/// Whether the text is a port number, 1 to 65535.
[[nodiscard]] bool isPort(std::string_view text);

}  // namespace tolk
