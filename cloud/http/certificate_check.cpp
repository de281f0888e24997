// How certificates are checked.
#include "cloud/http/certificate_check.h"

#include <sys/stat.h>

#include <array>

#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"

namespace tolk {
namespace {

/// Both checks on or off: the chain, and the host name (level 2 of CURLOPT_SSL_VERIFYHOST(3)).
void verify(CurlObject& transfer, bool on) {
  constexpr long kHostName = 2;
  transfer.setOption(CURLOPT_SSL_VERIFYPEER, on ? 1L : 0L);
  transfer.setOption(CURLOPT_SSL_VERIFYHOST, on ? kHostName : 0L);
}

/// Leaves one of the two places of authorities out: the library trusts what it finds in either, and
/// has the system's own in both unless it is told otherwise.
void trustNothing(CurlObject& transfer, CURLoption place) {
  transfer.setOption(place, static_cast<void*>(nullptr));
}

}  // namespace

std::string findCertificateBundle() {
  constexpr std::array kPlaces{
      "/etc/ssl/certs/ca-certificates.crt",
      "/etc/pki/tls/certs/ca-bundle.crt",
      "/usr/share/ssl/certs/ca-bundle.crt",
      "/usr/local/share/certs/ca-root-nss.crt",
      "/etc/ssl/cert.pem",
      "/etc/certs/ca-certificates.crt",
  };
  for (const char* place : kPlaces) {
    struct stat status {};
    if (::stat(place, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) return place;
  }
  return {};
}

void checkPlatformCertificate(CurlObject& transfer, const CloudLog& log) {
  const bool skip = Props().getBool(PN::VELKD_CLOUD_SKIP_CERT_VERIFICATION);
  verify(transfer, !skip);
  transfer.clearOption(CURLOPT_CAINFO);
  if (skip) return;
  std::string store = Props().getProperty(PN::VELKD_CLOUD_CERT_STORE);
  if (store.empty()) store = findCertificateBundle();
  if (store.empty()) {
    log.error(
        "Cloud cert verification is enabled yet no valid cert store found.Cloud connections may "
        "fail");
    return;
  }
  transfer.setOption(CURLOPT_CAINFO, store);
  trustNothing(transfer, CURLOPT_CAPATH);
  log.debug("Will use cert store : '%s' for cloud cert verification.", {store});
}

void checkSiteCertificate(CurlObject& transfer) {
  const bool skip = Props().getBool(PN::VELKD_IWA_SKIP_CERT_VERIFICATION);
  verify(transfer, !skip);
  if (skip) return;
  transfer.setOption(CURLOPT_CAPATH, Props().getProperty(PN::ADSEC_CERT_DIR));
  trustNothing(transfer, CURLOPT_CAINFO);
}

}  // namespace tolk
