// Opening a TCP connection to a directory server as a wait on an event loop. For tolk/ldap only.
#pragma once

#include <memory>
#include <string>

#include "tolk/ldap/ldap_connection.h"
#include "tolk/net/event_loop.h"

namespace tolk {

/// Looks the host up and connects to the first of its addresses that answers, within the limits of
/// PN::VELKD_DNS_RESPONSE_MAXTIME and PN::LDAP_CONNECT_TIMEOUT. Fails with LDAPException.
/// `name` as in LdapConnection::open().
Pending<std::shared_ptr<LdapConnection>> startLdapConnect(EventLoop& loop, const HostPort& server,
                                                          const std::string& name = "");

}  // namespace tolk
