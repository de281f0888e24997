// Whether the KDC that issued a ticket is the one that this host was joined to.
#pragma once

#include <string>

#include "tolk/krb5/kerberos_context.h"

namespace tolk {

/// A KDC that takes a password proves nothing by that: anybody's server can issue a ticket. Only
/// the host's own KDC knows the keys of the machine keytab, so a ticket for the computer account,
/// got with the ticket granting ticket in the cache `cacheName` and opened with the keytab, proves
/// it (krb5_verify_init_creds, where failing counts). Returns the client's name, which the KDC may
/// have changed from an alias to the account's own; "" when the keytab cannot be read or has no key
/// of the computer account, so that nothing can be proved with it. Throws KerberosException when
/// the KDC gives no ticket or one that no key in the keytab opens: the KDC is another, or the
/// keytab is out of date; NotFoundException when the host is not joined.
std::string proveKdc(const KerberosContext& kerberos, const std::string& cacheName);

}  // namespace tolk
