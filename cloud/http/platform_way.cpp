// The way to the platform.
#include "cloud/http/platform_way.h"

#include "cloud/http/certificate_check.h"
#include "cloud/http/cloud_exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.object"};

/// The address of the configuration, else that of the current connector.
IwaAddress configuredIwaAddress(ConnectorAccess* connectors) {
  const std::string url = Props().getProperty(PN::CLOUD_IWA_URL_OVERRIDE);
  if (url.empty()) return connectors == nullptr ? IwaAddress() : connectors->getIwaUrl();
  return {.url = url.ends_with('/') ? url : url + "/",
          .principal = connectors == nullptr ? "" : connectors->GetSPNFromIwaURL(url)};
}

}  // namespace

PlatformWay PlatformWay::choose(bool needsSiteCheck) {
  ConnectorAccess* const connectors = ConnectorAccess::current();
  PlatformWay way;
  way.direct = Props().getBool(PN::CLOUD_DIRECT_CONNECTION);
  // Also where another proxy is configured: a connector tells the platform, and offers the site
  // check.
  if (connectors != nullptr) (void)connectors->getCloudConnector();
  way.proxy = getCloudProxy();
  if (usesCloudConnector()) way.connector = way.proxy.server;
  if (connectors != nullptr) way.platform = connectors->platformUrl();
  if (needsSiteCheck) way.siteCheck = configuredIwaAddress(connectors);
  return way;
}

void PlatformWay::prepare(CurlObject& transfer, const CloudLog& log) const {
  addPlatformHeaders(transfer);
  checkPlatformCertificate(transfer, log);
  if (!proxy.server.empty()) applyProxy(transfer, proxy, log);
}

void PlatformWay::request(CurlObject& transfer, const std::string& url, std::string_view body,
                          bool isPost) {
  try {
    transfer.makeRequest(url, body, isPost);
  } catch (const CurlUnreachableException&) {
    leave(connector);
    throw;
  }
}

void PlatformWay::siteCheckFailed() {
  leave(siteCheck.connector);
}

void PlatformWay::leave(const std::string& address) {
  ConnectorAccess* const connectors = ConnectorAccess::current();
  if (address.empty() || connectors == nullptr) return;
  kLog.debug("Reset cloud web proxy...");
  connectors->connectorFailed(address);
  connectorFailed = true;
}

void addPlatformHeaders(CurlObject& transfer) {
  transfer.addHeader("Content-Type", "application/json");
  transfer.addHeader("X-PELLION-NATIVE-CLIENT", "1");
  transfer.addHeader("X-PLN-SRC", "TQS");
}

void applyProxy(CurlObject& transfer, const HttpProxy& proxy, const CloudLog& log) {
  log.debug("Set CURL web proxy to: '%s' with auth: '%s'.", {proxy.server, proxy.authType});
  transfer.setProxy(proxy.server, proxy.authType, proxy.user, proxy.password);
}

}  // namespace tolk
