// The site check: the computer account logs on to a cloud connector's web server by Kerberos
// (integrated Windows authentication) and gets a one-time code for the platform.
#pragma once

#include <string>

#include "cloud/cloud_log.h"
#include "cloud/connector_access.h"
#include "cloud/curl_object.h"
#include "cloud/http_proxy.h"
#include "tolk/base/json.h"

namespace tolk {

/// The address of the configuration, else that of the current connector.
[[nodiscard]] IwaAddress configuredIwaAddress();

/// What came of a site check.
struct SiteCheckResult {
  enum class Fault { none, status, noOpeningBrace, noClosingBrace, notSuccess };
  Fault fault = Fault::none;
  std::string result;     ///< the member "result" that is not "success"
  json::Document answer;  ///< parsed when there were both braces
};

/// Makes the site check with `transfer`, past its web proxy, and records it. Afterwards the
/// transfer is as for the platform again, with `proxy`. Throws CurlException; BadDataException for
/// an answer that is no JSON; CloudException for one without a result; CloudIwaException without an
/// address.
[[nodiscard]] SiteCheckResult checkSite(CurlObject& transfer, const IwaAddress& address,
                                        const HttpProxy& proxy, const CloudLog& log);

/// Gives the transfer that web proxy, with a record; for a proxy without a server, none.
void applyProxy(CurlObject& transfer, const HttpProxy& proxy, const CloudLog& log);

}  // namespace tolk
