// How a connector's directory object describes it.
#include "cloud/connectors/connector_attributes.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <mutex>
#include <utility>

#include "cloud/connectors/cloud_connector.h"
#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/guid.h"

namespace tolk {
namespace {

constexpr std::array<std::pair<const char*, const char*>, 13> kKeywords{{
    {"pellion.core.cloudurl", TOLK_CLOUD_URL},
    {"pellion.core.webproxy.port", TOLK_CLOUD_CONNECTOR_PORT},
    {"pellion.mobile.proxyScp", TOLK_CLOUD_PROXY_SCP},
    {kSiteKeyword, TOLK_CLOUD_CONNECTOR_SITE},
    {"pellion.mobile.proxySysId", TOLK_CLOUD_TENANT_ID},
    {"pellion.mobile.proxyUri", TOLK_CLOUD_PROXY_FQDN},
    {"pellion.core.webproxy", TOLK_CLOUD_WEB_PROXY},
    {"pellion.core.webproxyenabled", TOLK_CLOUD_WEB_PROXYENABLED},
    {"pellion.core.iwa.enabled", TOLK_CLOUD_CONNECTOR_IWA_ENABLED},
    {"pellion.core.iwa.hostname", TOLK_CLOUD_CONNECTOR_IWA_HOSTNAME},
    {"pellion.core.iwa.useHttps", TOLK_CLOUD_CONNECTOR_IWA_USEHTTPS},
    {"pellion.core.iwa.httpPort", TOLK_CLOUD_CONNECTOR_IWA_HTTP_PORT},
    {"pellion.core.iwa.httpsPort", TOLK_CLOUD_CONNECTOR_IWA_HTTPS_PORT},
}};

// Nothing that would break a line of a log, a report or a setting is a keyword's value.
void checkText(const std::string& value) {
  const bool broken = !isUtf8(value) || std::any_of(value.begin(), value.end(), [](char c) {
    return std::iscntrl(static_cast<unsigned char>(c)) != 0;
  });
  if (broken) throw BadDataException("A keyword is no text");
}

void storeKeyword(ADObject& connector, const std::string& value) {
  const std::size_t colon = value.find(':');
  const std::string keyword = value.substr(0, colon);
  const auto known = gTolkAttributeMap.find(keyword);
  if (known == gTolkAttributeMap.end() || colon == std::string::npos) {
    logConnector(LogLevel::debug, "loadAttributes: unexpected keyword '%s'", {keyword});
    return;
  }
  const std::string text(trim(std::string_view(value).substr(colon + 1)));
  logConnector(LogLevel::debug, "loadAttributes: keyname = '%s', orvName = '%s', orvValue = '%s'",
               {keyword, known->second, text});
  if (!text.empty()) connector[known->second] = text;
}

void loadHost(ADObject& connector, const ADObject& host) {
  std::string name;
  if (host) {
    name = toLower(host.getString(AD_DNS_HOST_NAME, ""));
    if (name.ends_with('.')) name.pop_back();
    logConnector(LogLevel::debug, "got FQDN from parent object: %s", {name});
  } else {
    logConnector(LogLevel::warning, "Failed to fetch DC object in AD");
  }
  connector[AD_DNS_HOST_NAME] = name;
  if (name.empty() || connector.attributeExists(TOLK_CLOUD_WEB_PROXY, true)) return;
  const std::string address =
      name + ":" + connector.getString(TOLK_CLOUD_CONNECTOR_PORT, kDefaultConnectorPort);
  logConnector(LogLevel::debug, "loadAttributes: compose orvName = '%s', orvValue = '%s'",
               {TOLK_CLOUD_WEB_PROXY, address});
  connector[TOLK_CLOUD_WEB_PROXY] = address;
}

bool saysYes(const ADObject& connector, const char* attribute, bool fallback) {
  const std::string value = toLower(connector.getString(attribute, fallback ? "true" : ""));
  return value == "true" || value == "yes" || value == "1";
}

unsigned servicesOf(const ADObject& connector) {
  unsigned services = 0;
  if (saysYes(connector, TOLK_CLOUD_WEB_PROXYENABLED, false)) {
    services |= ConnectorService::kWebProxy;
  }
  const bool iwa = saysYes(connector, TOLK_CLOUD_CONNECTOR_IWA_ENABLED, false) &&
                   saysYes(connector, TOLK_CLOUD_CONNECTOR_IWA_USEHTTPS, true) &&
                   connector.attributeExists(TOLK_CLOUD_CONNECTOR_IWA_HOSTNAME, true) &&
                   isPort(connector.getString(TOLK_CLOUD_CONNECTOR_IWA_HTTPS_PORT, ""));
  return iwa ? services | ConnectorService::kIwa : services;
}

}  // namespace

TolkAttributeMap gTolkAttributeMap;

void fillTolkAttributeMap() {
  static std::once_flag once;
  std::call_once(once, [] { gTolkAttributeMap.insert(kKeywords.begin(), kKeywords.end()); });
}

std::string keywordOf(std::string_view attribute) {
  for (const auto& [keyword, name] : kKeywords) {
    if (attribute == name) return keyword;
  }
  return {};
}

bool loadAttributes(ADObject& connector, const ADObject& host) {
  if (!connector) {
    logConnector(LogLevel::warning, "loadAttributes: connector object is null");
    return false;
  }
  const std::string guid = guidText(connector.getString(AD_OBJECT_GUID, ""));
  const std::vector<std::string> values = connector.getStrings(AD_KEYWORDS);
  if (values.empty()) {
    logConnector(LogLevel::warning,
                 "loadAttributes: 'keywords' is empty for cloud connector object(GUID=%s)", {guid});
    return false;
  }
  try {
    std::for_each(values.begin(), values.end(), checkText);
  } catch (const BadDataException&) {
    logConnector(LogLevel::warning,
                 "loadAttributes: get cram attributes error for cloud connector object(GUID=%s)",
                 {guid});
    return false;
  }
  for (const std::string& value : values) storeKeyword(connector, value);
  loadHost(connector, host);
  return true;
}

bool isConnectorObject(const ADObject& connector) {
  const std::vector<std::string> values = connector.getStrings(AD_KEYWORDS);
  return std::any_of(values.begin(), values.end(), [](const std::string& value) {
    return gTolkAttributeMap.contains(value.substr(0, value.find(':')));
  });
}

CloudConnector readConnector(const ADObject& connector) {
  const auto text = [&connector](const char* name) { return connector.getString(name, ""); };
  const std::string port = splitAddress(text(TOLK_CLOUD_WEB_PROXY)).port;
  return {.dn = connector.dn(),
          .name = hostObjectName(connector.dn()),
          .fqdn = text(AD_DNS_HOST_NAME),
          .address = text(TOLK_CLOUD_WEB_PROXY),
          .port = port.empty()
                      ? connector.getString(TOLK_CLOUD_CONNECTOR_PORT, kDefaultConnectorPort)
                      : port,
          .site = text(TOLK_CLOUD_CONNECTOR_SITE),
          .url = text(TOLK_CLOUD_URL),
          .tenantId = text(TOLK_CLOUD_TENANT_ID),
          .iwaHost = text(TOLK_CLOUD_CONNECTOR_IWA_HOSTNAME),
          .iwaHttpPort = text(TOLK_CLOUD_CONNECTOR_IWA_HTTP_PORT),
          .iwaHttpsPort = text(TOLK_CLOUD_CONNECTOR_IWA_HTTPS_PORT),
          .services = servicesOf(connector)};
}

std::string hostObjectName(const std::string& connectorDn) {
  try {
    const std::string path = DN::canonicalFromDN(DN::parentOf(connectorDn));
    return path.substr(path.rfind('/') + 1);
  } catch (const SystemException&) {
    return connectorDn;
  }
}

bool isPort(std::string_view text) {
  unsigned port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  constexpr unsigned kHighest = 65535;
  return error == std::errc() && end == text.data() + text.size() && port >= 1 && port <= kHighest;
}

ConnectorAddress splitAddress(const std::string& address) {
  const std::size_t colon = address.find(':');
  ConnectorAddress parts{.host = toLower(trim(address.substr(0, colon))),
                         .port = kDefaultConnectorPort};
  if (colon != std::string::npos) parts.port = trim(address.substr(colon + 1));
  const bool named =
      !parts.host.empty() && std::all_of(parts.host.begin(), parts.host.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return std::isalnum(byte) != 0 || c == '.' || c == '-' || c == '_';
      });
  return named && isPort(parts.port) ? parts : ConnectorAddress{};
}

}  // namespace tolk
