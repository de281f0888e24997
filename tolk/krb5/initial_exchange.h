// The exchange with a KDC that ends with initial credentials or with a refusal that says why.
#pragma once

#include <string>

#include "tolk/base/shredder.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {

/// For one client, whose key comes from a password or a keytab. The calls return 0 or the library's
/// code, with a text left in the context (krb5Message()).
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

 private:
  void explain(krb5_error_code code);

  krb5_context context_;
  krb5_principal client_;
  Krb5Owned<krb5_init_creds_context, krb5_init_creds_free> exchange_;
};

}  // namespace tolk
