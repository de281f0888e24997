// Service tickets, fetched into a cache before GSS-API looks for them there.
#pragma once

#include <string>

#include "tolk/krb5/krb5_library.h"

namespace tolk {

/// Puts a ticket for `service`/`host`@`realm` into `cache`, unless it holds one that is still
/// valid. Cross-realm tickets on the way are got and kept too. GSS-API then contacts no KDC. Throws
/// KerberosException with the KDC's code.
void fetchServiceTicket(krb5_context context, krb5_ccache cache, const std::string& service,
                        const std::string& host, const std::string& realm);

}  // namespace tolk
