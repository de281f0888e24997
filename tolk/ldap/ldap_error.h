// The one place where results of the LDAP library become exceptions.
#pragma once

#include <string>

#include "tolk/base/source_location.h"

struct ldap;

namespace tolk {

/// Does nothing for LDAP_SUCCESS, else throws LDAPException with code `rc` and the text "MEANING
/// (SERVER): DIAGNOSTIC": the library's text for the code, `server` ("dc1.lab.test:389", "" leaves
/// the parentheses out), and what the server or the library added, if anything. `ld` may be null.
void throwIfLdap(int rc, ldap* ld, const std::string& server,
                 SourceLocation where = SourceLocation::current());

/// "MEANING (SERVER): DETAIL"; an empty server or detail is left out.
[[nodiscard]] std::string ldapMessage(int rc, const std::string& server, const std::string& detail);

/// The diagnostic text of the last operation on `ld`, safe to print: without NULs and line ends at
/// its end, control characters escaped.
[[nodiscard]] std::string ldapDiagnostic(ldap* ld);

}  // namespace tolk
