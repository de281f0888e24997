// How a controller takes who neither signs nor seals.
#pragma once

#include "tolk/krb5/kerberos_context.h"
#include "tolk/ldap/ad_binding.h"

namespace tolk {

/// Binds once more to the server of `bound`, which is connected, with its tickets, but without
/// signing and sealing as a program does whose ldap.conf(5) says maxssf=0; nothing is asked over
/// that connection. Returns when the server takes it; throws LDAPException when it does not, with
/// strongerAuthRequired (8) from one that requires signing (MS-ADTS 5.1.1.1.2).
void bindUnsigned(KerberosContext& kerberos, const ADBinding& bound);

}  // namespace tolk
