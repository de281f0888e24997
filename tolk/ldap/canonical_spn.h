// The name under which the directory knows a service.
#pragma once

#include <string>

#include "tolk/ldap/ldap_binding.h"

namespace tolk {

/// Releases a binding that a CreateDomainBind handed out.
using FreeDomainBind = void (*)(LDAPBinding* binding);
/// Replaces `binding`, which stays the caller's, by a connected one to the directory of `domain`,
/// and says how to release that. May throw what connecting throws.
using CreateDomainBind = void (*)(const std::string& domain, LDAPBinding*& binding,
                                  FreeDomainBind& release);

/// "HTTP/host" to "HTTP/host.example.com@EXAMPLE.COM": the host's own name, or the one that DNS
/// gives it (an alias, a short name), and the realm of the account that has the service principal
/// name HTTP/host or HOST/host, which stands for it (MS-ADTS 3.1.1.2.1.4, sPNMappings). "" when no
/// account has it. `binding` is what `create` makes its own from. Throws what `create` and
/// searching throw.
[[nodiscard]] std::string CanonicalSpn(const std::string& spn, const std::string& domain,
                                       LDAPBinding& binding, CreateDomainBind create);

}  // namespace tolk
