// User names as people write them, turned into Kerberos principals.
#pragma once

#include <string>

#include "tolk/krb5/krb5_handles.h"

namespace tolk {

/// The principal of `user` who logs on to `domain` (RFC 6806 for enterprise names):
/// "name" belongs to the domain's realm, "dns.domain\name" to that domain's, "name@domain" in any
/// case and "name@REALM" in capitals to the realm named. Any other "name@suffix" is an enterprise
/// name, which the domain's KDC resolves or refuses. "NETBIOS\name" belongs to the domain's realm
/// when its controllers go by that name (netbiosNameOf(), which may wait), else it is the
/// enterprise name "name@NETBIOS". Throws KerberosException when the library cannot parse the name.
Krb5Principal userPrincipal(krb5_context context, const std::string& user,
                            const std::string& domain);

struct ADUser {
  /// The realm part of a principal's text, behind the last "@" that is not escaped; without one
  /// `fallback`, or "" when that is null.
  static std::string getRealmName(const std::string& principal, const char* fallback);
};

}  // namespace tolk
