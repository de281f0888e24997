// User names as people write them, turned into Kerberos principals.
#pragma once

#include <string>

#include "tolk/krb5/krb5_handles.h"

namespace tolk {

/// The principal of `user` who logs on to `domain` (RFC 6806 for enterprise names):
/// "name" and "NETBIOS\name" belong to the domain's realm, "dns.domain\name" to that domain's,
/// "name@domain" in any case and "name@REALM" in capitals to the realm named, any other
/// "name@suffix" is an enterprise name that the domain's KDC resolves. Throws KerberosException
/// when the library cannot parse the name.
Krb5Principal userPrincipal(krb5_context context, const std::string& user,
                            const std::string& domain);

struct ADUser {
  /// The realm part of a principal's text, behind the last "@" that is not escaped; without one
  /// `fallback`, or "" when that is null.
  static std::string getRealmName(const std::string& principal, const char* fallback);
};

}  // namespace tolk
