// The usual bind with the layers forbidden: it ends in the server's refusal, or in our own of a
// connection that is not sealed.
#include "tolk/ldap/unsigned_bind.h"

#include "tolk/base/text.h"
#include "tolk/krb5/binding_tickets.h"
#include "tolk/ldap/gssapi_bind.h"
#include "tolk/ldap/ldap_connection.h"

namespace tolk {

void bindUnsigned(KerberosContext& kerberos, const ADBinding& bound) {
  const HostPort server = parseServer(bound.serverName());
  const std::shared_ptr<LdapConnection> connection = LdapConnection::open(server);
  connection->throwIfFailed(ldap_set_option(connection->handle(), LDAP_OPT_X_SASL_SECPROPS,
                                            "noplain,noanonymous,minssf=0,maxssf=0"));
  const auto tickets = BindingTickets::fromCache(kerberos, bound.cacheName(), true);
  try {
    bindGssapi(*connection, *tickets, server.host, toUpper(bound.domainName()));
  } catch (const LDAPException& failure) {
    if (failure.code() != LDAP_PROTOCOL_ERROR) throw;  // what a bind without sealing ends with
  }
}

}  // namespace tolk
