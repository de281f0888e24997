// The answer to "new initial credentials are needed" for a user who came with a ticket cache: ask
// for the password if that was allowed (-I). The data is a copy of the run's UserCredentials.
#pragma once

#include "tolk/krb5/krb5_library.h"

namespace joinscope {

/// Gets credentials for `principal` into `out`, a ticket for up to a year as far as the KDC agrees.
/// Without a password the user is prompted once; where that is not allowed, or nothing is answered,
/// the KDC is not asked (getCredentials() sends no empty password). Returns 0 or a Kerberos code;
/// throws tolk::KerberosException when the principal has no text.
krb5_error_code joinscope_gic_with_password_prompt_callback(krb5_context context, krb5_creds* out,
                                                            krb5_principal principal, void* data);

/// Makes `*to` a copy of the UserCredentials at `from`. Returns 0, EINVAL when a pointer is null,
/// or the code of a failure.
int joinscope_gic_indentifier_callback_data_copy_function(const void* from, void** to);

/// Wipes and deletes such a copy; null is allowed.
void joinscope_gic_indentifier_callback_data_free_function(void* data);

}  // namespace joinscope
