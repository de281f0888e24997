// Which connectors may be used.
#include "cloud/connectors/connector_checks.h"

#include <charconv>
#include <utility>

#include "cloud/connectors/cloud_connector.h"
#include "cloud/connectors/connector_attributes.h"
#include "cloud/connectors/connector_trust.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/zones/zone_layout.h"
#include "tolk/zones/zone_schema.h"

namespace tolk {
namespace {

using Keywords = std::vector<std::string>;

bool isHierarchical(const ADObject& zone) {
  constexpr int kFirstHierarchical = 6;
  const std::string marker = zone.getString(AD_DISPLAY_NAME, "");
  if (marker.size() < ZONE_MARKER_PREFIX.size()) return false;
  int version = 0;
  const char* const end = marker.data() + marker.size();
  return std::from_chars(marker.data() + ZONE_MARKER_PREFIX.size(), end, version).ptr == end &&
         version >= kFirstHierarchical;
}

bool samePlatform(const std::string& left, const std::string& right) {
  return equalsIgnoringCase(withFinalSlash(left), withFinalSlash(right));
}

Keywords missingKeywords(const CloudConnector& connector) {
  Keywords names;
  if (connector.url.empty()) names.push_back(keywordOf(TOLK_CLOUD_URL));
  if (connector.tenantId.empty()) names.push_back(keywordOf(TOLK_CLOUD_TENANT_ID));
  return names;
}

Keywords incorrectKeywords(const CloudConnector& connector, const ZonePlatform& platform) {
  Keywords names;
  if (!platform.url.empty() && !samePlatform(connector.url, platform.url)) {
    names.push_back(keywordOf(TOLK_CLOUD_URL));
  }
  if (!platform.tenantId.empty() && !equalsIgnoringCase(connector.tenantId, platform.tenantId)) {
    names.push_back(keywordOf(TOLK_CLOUD_TENANT_ID));
  }
  if (!isPort(connector.port)) {
    names.push_back(keywordOf(TOLK_CLOUD_CONNECTOR_PORT));
  } else if (!connector.fqdn.empty() && splitAddress(connector.address).host.empty()) {
    names.push_back(keywordOf(TOLK_CLOUD_WEB_PROXY));
  }
  return names;
}

std::string reasonText(const Keywords& names, const char* end) {
  std::string text = "the value of keywords '";
  for (std::size_t i = 0; i < names.size(); ++i) text += (i > 0 ? " and " : "") + names[i];
  return text + "' are " + end;
}

void reportInvalid(const CloudConnector& connector, const ZonePlatform& platform,
                   const std::string& reason, TextSet& reported) {
  if (!reported.insert(connector.key() + '\n' + platform.url + '\n' + reason).second) return;
  logConnector(LogLevel::warning,
               "Pellion Agent will not use Pellion Connector '%s' to provide connectivity to "
               "Pellion Identity Platform URL '%s' because %s.",
               {connector.key(), platform.url, reason});
}

void reportTenants(const TextSet& tenantIds) {
  if (tenantIds.size() < 2) return;
  logConnector(
      LogLevel::warning,
      "Found multiple tenantID settings in cloud connectors, they may serve %d different "
      "Pellion Identify Platform instances('tenants'). You may encounter this issue if you "
      "re-registered the Pellion Connectors recently. Please check their registration and "
      "setttings.",
      {std::to_string(tenantIds.size())});
}

void reportNoneValid(bool hierarchical) {
  logConnector(LogLevel::error,
               "Can not locate any valid cloud connectors. None has correct settings. Please check "
               "your Pellion connectors for its registration and zone setttings through %s.",
               {hierarchical ? "the 'Platform instance URL' tab and the 'Platform instance ID' tab "
                               "of the zone property page in Tallis"
                             : "velkd.legacyzone.mfa.cloudurl and velkd.legacyzone.mfa.tenantid "
                               "option"});
}

}  // namespace

bool iwaRequired() {
  const Properties& properties = Props();
  if (!properties.getProperty(PN::CLOUD_IWA_URL_OVERRIDE).empty()) return false;
  const std::string version = properties.getProperty(PN::CLOUD_REST_VERSION);
  return (version != "0" && version != "1.0") || properties.getBool(PN::VELKD_CLOUD_LOG_PRIVEVENT);
}

ZonePlatform readZonePlatform(const ADObject& zone) {
  ZonePlatform platform;
  platform.hierarchical = isHierarchical(zone);
  if (platform.hierarchical) {
    platform.url = trim(zoneNote(zone, kCloudUrlPrefix));
    platform.tenantId = trim(zoneNote(zone, kTenantIdPrefix));
    platform.connectorPlace = trim(zoneNote(zone, kCloudConnectorsPrefix));
    platform.mfaEnabled = !platform.url.empty() || !platform.tenantId.empty();
    return platform;
  }
  const Properties& properties = Props();
  platform.url = properties.getProperty(PN::VELKD_LEGACYZONE_MFA_CLOUDURL);
  platform.tenantId = properties.getProperty(PN::VELKD_LEGACYZONE_MFA_TENANTID);
  platform.mfaEnabled = properties.getBool(PN::VELKD_LEGACYZONE_MFA_ENABLED);
  return platform;
}

std::string withFinalSlash(std::string url) {
  if (!url.empty() && !url.ends_with('/')) url += '/';
  return url;
}

bool connectorSanityCheck(const CloudConnector& connector, const ZonePlatform& platform) {
  if (connector.fqdn.empty()) {
    logConnector(LogLevel::warning, "Invalid cloud connector SCP for cloudUrl: fqdn is empty");
    return false;
  }
  if (platform.url.empty() || samePlatform(connector.url, platform.url)) return true;
  logConnector(LogLevel::debug, "Invalid cloud connector SCP for cloudUrl: %s", {connector.url});
  return false;
}

std::string invalidReason(const CloudConnector& connector, const ZonePlatform& platform) {
  const Keywords missing = missingKeywords(connector);
  if (!missing.empty()) return reasonText(missing, "missing");
  const Keywords incorrect = incorrectKeywords(connector, platform);
  return incorrect.empty() ? std::string() : reasonText(incorrect, "incorrect");
}

bool isAvailableConnector(const CloudConnector& connector, bool needsIwa) {
  const unsigned needed = ConnectorService::kWebProxy | (needsIwa ? ConnectorService::kIwa : 0U);
  return (connector.services & needed) == needed;
}

void logUnavailableConnector(const CloudConnector& connector, bool needsIwa) {
  const std::string services = std::to_string(connector.services);
  if ((connector.services & ConnectorService::kWebProxy) == 0) {
    logConnector(LogLevel::warning,
                 "Cloud connector '%s' is unavailable for web proxy is not configured correctly. "
                 "services = %d",
                 {connector.key(), services});
  } else if (needsIwa) {
    logConnector(LogLevel::warning,
                 "Cloud connector '%s' is unavailable: IWA is required, but IWA is not configured "
                 "correctly. services = %d",
                 {connector.key(), services});
  }
}

FoundConnectors processList(std::vector<ADObject>& connectors, const std::vector<ADObject>& hosts,
                            const ZonePlatform& platform, TextSet& reported) {
  FoundConnectors found;
  const std::vector<std::string> places = trustedPlaces(platform);
  for (std::size_t i = 0; i < connectors.size(); ++i) {
    ADObject& object = connectors[i];
    if (!loadAttributes(object, hosts[i])) continue;
    if (!isConnectorObject(object)) {
      logConnector(LogLevel::debug, "This cloud connector '%s' is not a Pellion Connector, skip it",
                   {object.dn()});
      continue;
    }
    CloudConnector connector = readConnector(object);
    if (!isTrusted(connector.dn, places)) {
      reportUntrusted(connector, reported);
      found.invalid.push_back(std::move(connector));
      continue;
    }
    if (!connector.url.empty()) found.urls.insert(connector.url);
    if (!connector.tenantId.empty()) found.tenantIds.insert(connector.tenantId);
    const bool sane = connectorSanityCheck(connector, platform);
    const std::string reason = invalidReason(connector, platform);
    if (!reason.empty()) reportInvalid(connector, platform, reason, reported);
    (sane && reason.empty() ? found.valid : found.invalid).push_back(std::move(connector));
  }
  reportTenants(found.tenantIds);
  if (found.valid.empty()) reportNoneValid(platform.hierarchical);
  return found;
}

}  // namespace tolk
