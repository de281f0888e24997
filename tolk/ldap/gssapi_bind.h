// The SASL GSSAPI bind (RFC 4752) with tickets of one credential cache. For tolk/ldap only.
#pragma once

#include <string>

#include "tolk/krb5/binding_tickets.h"
#include "tolk/ldap/ldap_connection.h"

namespace tolk {

/// Binds `connection` to the server, known to Kerberos as `host` of `realm`, with the tickets at
/// hand, which must include the one for ldap/host: no KDC is asked. All further traffic is signed
/// and, where the server can, sealed. Takes at most PN::LDAP_BIND_TIMEOUT. Throws KerberosException
/// where a Kerberos code is known, else LDAPException.
void bindGssapi(LdapConnection& connection, const BindingTickets& tickets, const std::string& host,
                const std::string& realm);

}  // namespace tolk
