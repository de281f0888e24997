// Search entries and page controls of the LDAP library as values. For tolk/ldap only.
#pragma once

#include <ldap.h>

#include <string>

#include "tolk/ldap/ad_object.h"

namespace tolk {

/// The object in a search result entry, its values as sent. Returns the library's result code.
int parseEntry(LDAP* ld, LDAPMessage* message, ADObject& out);

/// Takes the server's cookie from the page control among `controls` (RFC 2696); "" without one.
/// Returns the library's result code.
int parsePageCookie(LDAP* ld, LDAPControl** controls, std::string& cookie);

}  // namespace tolk
