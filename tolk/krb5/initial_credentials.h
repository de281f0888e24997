// Initial credentials: the exchange with a KDC that ends with them or with a refusal that says why,
// and the callback through which a binding asks for them.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "tolk/base/shredder.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/krb5_library.h"

namespace tolk {

/// One exchange for one client, whose key comes from a password or a keytab. The calls return 0 or
/// the library's code, with a text left in the context (krb5Message()).
class InitialExchange {
 public:
  InitialExchange(krb5_context context, krb5_principal client) noexcept;

  /// First: begins with `options`, which must outlive this object.
  [[nodiscard]] krb5_error_code begin(krb5_get_init_creds_opt* options);
  [[nodiscard]] krb5_error_code usePassword(const Shredder& password);
  [[nodiscard]] krb5_error_code useKeytab(krb5_keytab keytab);
  /// Asks for a ticket for `service` instead of the client's own realm's ticket granting service.
  [[nodiscard]] krb5_error_code askFor(const std::string& service);
  /// Asks the KDC; the caller frees the contents of `out`. The text of a refusal says what
  /// about the account is refused: Active Directory tells disabled, expired and locked ones apart
  /// in the error data only (MS-KILE 2.2.2).
  [[nodiscard]] krb5_error_code run(krb5_creds* out);
  /// After a refusal: the NT status in its error data (MS-ERREF 2.3.1), where there is one.
  [[nodiscard]] std::optional<std::uint32_t> refusalStatus() const noexcept { return status_; }
  /// After a refusal for this clock (KRB5KRB_AP_ERR_SKEW): what the KDC's says, seconds since 1970.
  [[nodiscard]] std::optional<std::int64_t> kdcTime() const noexcept { return kdcTime_; }

 private:
  void explain(krb5_error_code code);

  krb5_context context_;
  krb5_principal client_;
  Krb5Owned<krb5_init_creds_context, krb5_init_creds_free> exchange_;
  std::optional<std::uint32_t> status_;
  std::optional<std::int64_t> kdcTime_;
};

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
