// How the certificates of the platform and of the site check's web server are checked.
#pragma once

#include <string>

#include "cloud/http/cloud_log.h"
#include "cloud/http/curl_object.h"

namespace tolk {

/// The system's file of certificate authorities: the first usual place where there is one that is
/// not empty; "" when there is none.
[[nodiscard]] std::string findCertificateBundle();

/// Checks the platform's certificate, or not, as the configuration says: against the authorities of
/// one file and no others.
void checkPlatformCertificate(CurlObject& transfer, const CloudLog& log);

/// The same for the web server of the site check, against those of one directory.
void checkSiteCertificate(CurlObject& transfer);

}  // namespace tolk
