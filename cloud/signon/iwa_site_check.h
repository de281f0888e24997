// The site check: the computer account logs on to a cloud connector's web server by Kerberos
// (integrated Windows authentication) and gets a one-time code for the platform.
#pragma once

#include <string>

#include "cloud/http/platform_way.h"
#include "tolk/base/json.h"

namespace tolk {

/// What came of a site check.
struct SiteCheckResult {
  enum class Fault { none, status, noOpeningBrace, noClosingBrace, notSuccess };
  Fault fault = Fault::none;
  std::string result;     ///< the member "result" that is not "success"
  json::Document answer;  ///< parsed when there were both braces
};

/// Makes the way's site check with `transfer`, past the web proxy, and records it. After a success
/// the transfer is as for the platform again; after a failure it has neither proxy nor credentials.
/// A connector that is silent, has no good certificate or a fault of its own is left. Throws
/// CurlException; BadDataException for an answer that is no JSON; CloudException for one without a
/// result; CloudIwaException without an address.
[[nodiscard]] SiteCheckResult checkSite(CurlObject& transfer, PlatformWay& way,
                                        const CloudLog& log);

}  // namespace tolk
