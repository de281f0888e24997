// Initial credentials with a password, and the callback through which a binding asks for them.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "tolk/base/shredder.h"
#include "tolk/krb5/krb5_library.h"

namespace tolk {

/// Obtains initial credentials for `principal` with `password`, for at most `lifetime` seconds as
/// far as the KDC agrees; the caller frees the contents of `out`. `realm` names the realm of the
/// ticket granting ticket when it is not the principal's own; null or "" otherwise. `replyKey`,
/// unless null, receives a copy of the ticket's session key. The two parameters between `error` and
/// `realm` are not used. Nobody is prompted, an expired password is not changed. An empty
/// password is nobody's answer (a prompt that met the end of its input) and would count as a wrong
/// one: the KDC is not asked, the code is KRB5_LIBOS_CANTREADPWD. Returns 0 or the library's code,
/// with its text in `error`.
krb5_error_code getCredentials(krb5_context context, krb5_principal principal,
                               const Shredder& password, krb5_creds* out, std::string& error, char*,
                               int*, const char* realm, int lifetime, krb5_keyblock* replyKey);

/// Gets initial credentials for a principal into the second argument; the last is the data that was
/// set with the callback. Returns 0 or a Kerberos code; may throw.
using InitialCredentialsFunction = krb5_error_code (*)(krb5_context, krb5_creds*, krb5_principal,
                                                       void*);
/// Copies callback data; returns 0, or EINVAL when a pointer is null.
using CallbackDataCopy = int (*)(const void* from, void** to);
/// Wipes and frees what the copy function made; null is allowed.
using CallbackDataFree = void (*)(void* data);
using CallbackData = boost::shared_ptr<void>;

/// No callback data.
inline const CallbackData EMPTY_CBDATA;

/// A callback with its data and the functions that copy and free such data; without a function,
/// nothing can be asked for.
struct InitialCredentialsCallback {
  InitialCredentialsFunction function = nullptr;
  CallbackData data = EMPTY_CBDATA;
  CallbackDataCopy copy = nullptr;
  CallbackDataFree release = nullptr;
};

/// The callback for a password that is already known: `data` is a Shredder. The credentials are
/// asked for a day.
krb5_error_code gic_with_password_callback(krb5_context context, krb5_creds* out,
                                           krb5_principal principal, void* data);
int gic_shredder_callback_data_copy_function(const void* from, void** to);
void gic_shredder_callback_data_free_function(void* data);

}  // namespace tolk
