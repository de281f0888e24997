// Service tickets, fetched into a cache before GSS-API looks for them there.
#pragma once

#include <string>

#include "tolk/krb5/krb5_library.h"

namespace tolk {

/// Puts a ticket for `service`/`host`@`realm` into `cache`, unless it holds one that is still
/// valid. Cross-realm tickets on the way are got and kept too. The ticket is stored under
/// `service`/`host` without a realm as well, because that is what GSS-API looks for where no
/// setting maps the host to a realm; so it contacts no KDC. Throws KerberosException with the KDC's
/// code.
void fetchServiceTicket(krb5_context context, krb5_ccache cache, const std::string& service,
                        const std::string& host, const std::string& realm);

/// The same for the controller `host` of the domain that is `realm`, by the name that controllers
/// alone may have, ldap/HOST/DOMAIN (MS-ADTS 5.1.1.1.4; a member may give itself ldap/HOST, MS-ADTS
/// 3.1.1.5.3.1.1.4). GSS-API finds that ticket, and no other that the cache has held, under
/// ldap/HOST.
void fetchControllerTicket(krb5_context context, krb5_ccache cache, const std::string& host,
                           const std::string& realm);

/// The same for a principal as text, "HTTP/web.example.com@REALM" (without a realm, that of the
/// cache's client), whose ticket GSS-API is to find under `service`/`host`.
void fetchServiceTicketAs(krb5_context context, krb5_ccache cache, const std::string& principal,
                          const std::string& service, const std::string& host);

}  // namespace tolk
