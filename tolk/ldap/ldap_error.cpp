// The library's word for a code, the server that it is about and what that said.
#include "tolk/ldap/ldap_error.h"

#include <ldap.h>

#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace tolk {

std::string ldapDiagnostic(ldap* ld) {
  char* raw = nullptr;
  if (ld == nullptr || ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &raw) != LDAP_OPT_SUCCESS ||
      raw == nullptr) {
    return {};
  }
  std::string text = printable(trim(raw));
  ldap_memfree(raw);
  return text;
}

std::string ldapMessage(int rc, const std::string& server, const std::string& detail) {
  std::string text = ldap_err2string(rc);
  if (!server.empty()) text += " (" + server + ")";
  if (!detail.empty()) text += ": " + detail;
  return text;
}

void throwIfLdap(int rc, ldap* ld, const std::string& server, SourceLocation where) {
  if (rc != LDAP_SUCCESS) {
    throw LDAPException(ldapMessage(rc, server, ldapDiagnostic(ld)), rc, where);
  }
}

}  // namespace tolk
