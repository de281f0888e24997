// A text is escaped here once, so that no caller forgets to.
#include "tolk/krb5/krb5_error.h"

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"

namespace tolk {

std::string krb5Message(krb5_context context, krb5_error_code code) {
  if (context == nullptr) return error_message(code);
  const char* text = krb5_get_error_message(context, code);
  std::string message = printable(text);
  krb5_free_error_message(context, text);
  return message;
}

void throwIfKrb5(krb5_context context, krb5_error_code code, const std::string& what,
                 SourceLocation where) {
  if (code == 0) return;
  const std::string text = krb5Message(context, code);
  // Times in a reply that lie outside of the skew are the same finding, made by the library.
  if (code == KRB5_KDCREP_SKEW) code = KRB5KRB_AP_ERR_SKEW;
  throw KerberosException(printable(what) + ": " + text, code, where);
}

std::string principalText(krb5_context context, krb5_const_principal principal) {
  char* text = nullptr;
  throwIfKrb5(context, krb5_unparse_name(context, principal, &text), "unparsing principal name");
  std::string name = text;
  krb5_free_unparsed_name(context, text);
  return name;
}

}  // namespace tolk
