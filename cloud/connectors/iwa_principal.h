// The Kerberos name of a site check's web server, from its address.
#pragma once

#include <string>

#include "cloud/http/connector_access.h"
#include "tolk/ldap/ad_agent.h"

namespace tolk {

/// "HTTP/host@REALM", the realm being the domain that `dn` lies in. Throws SystemException when
/// `dn` is no name of an object in a domain.
[[nodiscard]] std::string iwaPrincipal(const std::string& host, const std::string& dn);

/// The name for an address, by a search for the computer with that host name through `agent`, which
/// may be null. "" when it cannot be found, with a record that says why. Throws nothing of the tolk
/// family.
[[nodiscard]] std::string findIwaPrincipal(ADAgent* agent, const std::string& url);

}  // namespace tolk
