// The one place where the Kerberos library's result codes become exceptions and texts.
#pragma once

#include <string>

#include "tolk/base/source_location.h"
#include "tolk/krb5/krb5_library.h"

namespace tolk {

/// The library's text for `code`, with the detail that the last failing call left in `context`
/// (which may be null). A KDC writes part of it: control characters are escaped (printable), so
/// that nobody who prints it needs to.
std::string krb5Message(krb5_context context, krb5_error_code code);

/// Throws KerberosException "what: text of the library" with `code`, unless that is 0. Both
/// texts are escaped. A reply with times outside of the skew has the code of the KDC's own error
/// for it, KRB5KRB_AP_ERR_SKEW.
void throwIfKrb5(krb5_context context, krb5_error_code code, const std::string& what,
                 SourceLocation where = SourceLocation::current());

/// A principal as text, "name@REALM" with the library's escapes; throws KerberosException.
std::string principalText(krb5_context context, krb5_const_principal principal);

}  // namespace tolk
