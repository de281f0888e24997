// The site check.
#include "cloud/iwa_site_check.h"

#include "cloud/certificate_check.h"
#include "cloud/cloud_exceptions.h"
#include "cloud/cloud_json.h"
#include "cloud/cloud_object.h"
#include "cloud/proxy_auth.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/machine_account.h"

namespace tolk {
namespace {

using Fault = SiteCheckResult::Fault;
constexpr long kOk = 200;
constexpr long kUnauthorized = 401;

/// "host:port" or "host" of a URL.
std::string serverOf(const std::string& url) {
  const std::size_t scheme = url.find("://");
  const std::size_t start = scheme == std::string::npos ? 0 : scheme + 3;
  return url.substr(start, url.find_first_of("/?#", start) - start);
}

/// Makes a transfer ready for the platform again at the end of its life.
class PlatformTransfer {
 public:
  PlatformTransfer(CurlObject& transfer, const HttpProxy& proxy, const CloudLog& log)
      : transfer_(transfer), proxy_(proxy), log_(log) {}
  PlatformTransfer(const PlatformTransfer&) = delete;
  PlatformTransfer& operator=(const PlatformTransfer&) = delete;
  ~PlatformTransfer() {
    try {
      restore();
    } catch (const Base_Exception& e) {
      log_.error("%s", {e.what()});
    }
  }

 private:
  void restore() {
    transfer_.reset(true);
    transfer_.setOption(CURLOPT_HTTPAUTH, ProxyAuthMask::basic);
    transfer_.clearOption(CURLOPT_CAPATH);
    checkPlatformCertificate(transfer_, log_);
    applyProxy(transfer_, proxy_, log_);
  }

  CurlObject& transfer_;
  const HttpProxy& proxy_;
  const CloudLog& log_;
};

SiteCheckResult judge(const CurlObject& transfer) {
  SiteCheckResult check;
  if (transfer.responseCode() != kOk) {
    check.fault = Fault::status;
    return check;
  }
  // Some connectors put a page around the object.
  const std::string& body = transfer.responseBody();
  const std::size_t open = body.find('{');
  const std::size_t close = body.rfind('}');
  if (open == std::string::npos) {
    check.fault = Fault::noOpeningBrace;
  } else if (close == std::string::npos || close < open) {
    check.fault = Fault::noClosingBrace;
  } else {
    check.answer = json::parse(std::string_view(body).substr(open, close - open + 1));
    check.result = getJsonString(check.answer, JSON_MEMBER_SITECHECK_RESULT);
    if (check.result != "success") check.fault = Fault::notSuccess;
  }
  return check;
}

}  // namespace

IwaAddress configuredIwaAddress() {
  ConnectorAccess* connectors = ConnectorAccess::current();
  const std::string url = Props().getProperty(PN::CLOUD_IWA_URL_OVERRIDE);
  if (url.empty()) return connectors == nullptr ? IwaAddress() : connectors->getIwaUrl();
  return {.url = url.ends_with('/') ? url : url + "/",
          .principal = connectors == nullptr ? "" : connectors->GetSPNFromIwaURL(url)};
}

void applyProxy(CurlObject& transfer, const HttpProxy& proxy, const CloudLog& log) {
  log.debug("Set CURL web proxy to: '%s' with auth: '%s'.", {proxy.server, proxy.authType});
  transfer.setProxy(proxy.server, proxy.authType, proxy.user, proxy.password);
}

SiteCheckResult checkSite(CurlObject& transfer, const IwaAddress& address, const HttpProxy& proxy,
                          const CloudLog& log) {
  if (address.url.empty()) throw CloudIwaException("No cloud connector offers the site check");
  const PlatformTransfer restored(transfer, proxy, log);
  const std::string url = address.url + CLOUD_RESTAPI_IWA_SITECHECK;
  for (const bool again : {false, true}) {
    transfer.setServerNegotiate(address.principal, serverOf(address.url), kMachineUser);
    checkSiteCertificate(transfer);
    transfer.makeRequest(url, {}, false);
    log.debug("siteCheck: URL = %s, SPN = %s, httpCode = %ld",
              {url, address.principal, std::to_string(transfer.responseCode())});
    if (transfer.responseCode() != kUnauthorized || again) break;
    // The web server may have got another key since its ticket was issued.
    (void)ADHelper::GetMachineCredCache(true);
  }
  return judge(transfer);
}

}  // namespace tolk
