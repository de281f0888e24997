// The site check.
#include "cloud/signon/iwa_site_check.h"

#include "cloud/http/certificate_check.h"
#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_object.h"
#include "cloud/http/proxy_auth.h"
#include "cloud/http/url_text.h"
#include "cloud/signon/cloud_json.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/machine_account.h"

namespace tolk {
namespace {

using Fault = SiteCheckResult::Fault;
constexpr long kOk = 200;
constexpr long kUnauthorized = 401;
constexpr long kServerErrors = 500;

/// Takes what the site check needs off a transfer at the end of its life. No network.
class SiteTransfer {
 public:
  SiteTransfer(CurlObject& transfer, const CloudLog& log) : transfer_(transfer), log_(log) {}
  SiteTransfer(const SiteTransfer&) = delete;
  SiteTransfer& operator=(const SiteTransfer&) = delete;
  ~SiteTransfer() {
    try {
      transfer_.reset(true);
      transfer_.clearOption(CURLOPT_CAPATH);
      checkPlatformCertificate(transfer_, log_);
    } catch (const Base_Exception& e) {
      log_.error("%s", {e.what()});
    }
  }

 private:
  CurlObject& transfer_;
  const CloudLog& log_;
};

void askSite(CurlObject& transfer, const IwaAddress& site, const CloudLog& log) {
  const SiteTransfer restored(transfer, log);
  const std::string url = site.url + CLOUD_RESTAPI_IWA_SITECHECK;
  for (const bool again : {false, true}) {
    transfer.setServerNegotiate(site.principal, serverOfUrl(site.url), kMachineUser);
    checkSiteCertificate(transfer);
    transfer.makeRequest(url, {}, false);
    log.debug("siteCheck: URL = %s, SPN = %s, httpCode = %ld",
              {url, site.principal, std::to_string(transfer.responseCode())});
    if (transfer.responseCode() != kUnauthorized || again) return;
    // The web server may have got another key since its ticket was issued.
    (void)ADHelper::GetMachineCredCache(true);
  }
}

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

SiteCheckResult checkSite(CurlObject& transfer, PlatformWay& way, const CloudLog& log) {
  if (way.siteCheck.url.empty()) {
    throw CloudIwaException("No cloud connector offers the site check");
  }
  try {
    askSite(transfer, way.siteCheck, log);
  } catch (const CurlException&) {
    way.siteCheckFailed();
    throw;
  }
  // What is refused to this host is refused by the other connectors as well.
  if (transfer.responseCode() >= kServerErrors) way.siteCheckFailed();
  SiteCheckResult check = judge(transfer);
  if (check.fault == Fault::none) {
    applyProxy(transfer, way.proxy, log);
    transfer.setOption(CURLOPT_HTTPAUTH, ProxyAuthMask::basic);
  }
  return check;
}

}  // namespace tolk
