// Picks the client for multi-factor authentication.
#include "cloud/signon/get_handler.h"

#include <utility>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/signon/cloud_auth_v0.h"
#include "cloud/signon/cloud_auth_v1.h"
#include "cloud/signon/cloud_auth_v1s.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.object"};

std::unique_ptr<CloudAuth> makeClient(const std::string& version, PlatformWay way,
                                      const MfaRequest& request) {
  try {
    if (version == CLOUD_REST_API_VERSION_V0) {
      return std::make_unique<CloudAuthV0>(std::move(way), request);
    }
    if (version == CLOUD_REST_API_VERSION_V1) {
      return std::make_unique<CloudAuthV1>(std::move(way), request);
    }
    return std::make_unique<CloudAuthV1S>(std::move(way), request);
  } catch (const std::exception& e) {
    kLog.debug("%s", {e.what()});
    throw BaseException("Error in setting up communication with Pellion Identify Platform.");
  }
}

}  // namespace

std::unique_ptr<CloudAuth> getHandler(const MfaRequest& request) {
  const std::string version = Props().getProperty(PN::CLOUD_REST_VERSION);
  const bool signsMachineOn =
      version != CLOUD_REST_API_VERSION_V0 && version != CLOUD_REST_API_VERSION_V1;
  PlatformWay way = PlatformWay::choose(signsMachineOn);
  kLog.debug("Cloud URL is: '%s'", {way.platform});
  kLog.debug("The cloud REST API version is: %s.", {version});
  kLog.debug("IWA URL is: %s. SPN = %s.", {way.siteCheck.url, way.siteCheck.principal});
  kLog.debug("Set cloud web proxy to: '%s' with auth: '%s'.",
             {way.proxy.server, way.proxy.authType});
  const bool exists = way.exists();
  std::unique_ptr<CloudAuth> client = makeClient(version, std::move(way), request);
  if (!exists) throw CloudConnectorException("Cloud web proxy is not configured correctly.");
  return client;
}

}  // namespace tolk
