// Picks the client for multi-factor authentication.
#include "cloud/get_handler.h"

#include "cloud/cloud_auth_v0.h"
#include "cloud/cloud_auth_v1.h"
#include "cloud/cloud_auth_v1s.h"
#include "cloud/cloud_exceptions.h"
#include "cloud/cloud_log.h"
#include "cloud/connector_access.h"
#include "cloud/iwa_site_check.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.object"};

std::unique_ptr<CloudAuth> makeClient(const std::string& version, const std::string& url,
                                      const MfaRequest& request, const IwaAddress& iwa) {
  try {
    if (version == CLOUD_REST_API_VERSION_V0) return std::make_unique<CloudAuthV0>(url, request);
    if (version == CLOUD_REST_API_VERSION_V1) return std::make_unique<CloudAuthV1>(url, request);
    return std::make_unique<CloudAuthV1S>(url, request, iwa);
  } catch (const std::exception& e) {
    kLog.debug("%s", {e.what()});
    throw BaseException("Error in setting up communication with Pellion Identify Platform.");
  }
}

}  // namespace

std::unique_ptr<CloudAuth> getHandler(const MfaRequest& request) {
  std::string url;
  if (ConnectorAccess* connectors = ConnectorAccess::current(); connectors != nullptr) {
    (void)connectors->getCloudConnector();
    url = connectors->platformUrl();
  }
  kLog.debug("Cloud URL is: '%s'", {url});
  const bool direct = Props().getBool(PN::CLOUD_DIRECT_CONNECTION, false);
  const HttpProxy proxy = getCloudProxy();
  const std::string version = Props().getProperty(PN::CLOUD_REST_VERSION);
  kLog.debug("The cloud REST API version is: %s.", {version});
  const IwaAddress iwa = configuredIwaAddress();
  kLog.debug("IWA URL is: %s. SPN = %s.", {iwa.url, iwa.principal});
  std::unique_ptr<CloudAuth> client = makeClient(version, url, request, iwa);
  if (proxy.server.empty() && !direct) {
    throw CloudConnectorException("Cloud web proxy is not configured correctly.");
  }
  client->setProxy(proxy);
  return client;
}

}  // namespace tolk
