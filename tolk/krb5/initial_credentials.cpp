#include "tolk/krb5/initial_credentials.h"

#include <cerrno>
#include <cstring>

#include "tolk/base/stack_scrub.h"
#include "tolk/krb5/initial_exchange.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {
namespace {

constexpr int kDaySeconds = 86400;

/// "krbtgt/REALM" when `realm` is not the principal's own. The own one must stay unnamed, or the
/// library could not follow a referral to the realm that really holds the user.
std::string foreignTicketService(krb5_principal principal, const char* realm) {
  if (realm == nullptr || *realm == '\0') return {};
  const std::string own(principal->realm.data, principal->realm.length);
  return own == realm ? std::string() : std::string(KRB5_TGS_NAME "/") + realm;
}

krb5_error_code requestCredentials(krb5_context context, krb5_principal principal,
                                   const Shredder& password, krb5_creds* out, const char* realm,
                                   int lifetime) {
  if (password.empty()) {
    krb5_set_error_message(context, KRB5_LIBOS_CANTREADPWD,
                           "no password: an empty one is not sent");
    return KRB5_LIBOS_CANTREADPWD;
  }
  Krb5InitOptions options(context);
  if (const krb5_error_code code = krb5_get_init_creds_opt_alloc(context, options.out()); code != 0)
    return code;
  krb5_get_init_creds_opt_set_tkt_life(options.get(), lifetime);
  krb5_get_init_creds_opt_set_canonicalize(options.get(), 1);
  krb5_get_init_creds_opt_set_forwardable(options.get(), 0);
  krb5_get_init_creds_opt_set_proxiable(options.get(), 0);
  InitialExchange exchange(context, principal);
  krb5_error_code code = exchange.begin(options.get());
  if (code == 0) code = exchange.usePassword(password);
  const std::string service = foreignTicketService(principal, realm);
  if (code == 0 && !service.empty()) code = exchange.askFor(service);
  return code == 0 ? exchange.run(out) : code;
}

}  // namespace

// NOLINTNEXTLINE(readability-function-size): the parameters are those of a fixed interface
krb5_error_code getCredentials(krb5_context context, krb5_principal principal,
                               const Shredder& password, krb5_creds* out, std::string& error,
                               char* /*unused*/, int* /*unused*/, const char* realm, int lifetime,
                               krb5_keyblock* replyKey) {
  krb5_error_code code = requestCredentials(context, principal, password, out, realm, lifetime);
  scrubStack();
  if (code == 0 && replyKey != nullptr)
    code = krb5_copy_keyblock_contents(context, &out->keyblock, replyKey);
  if (code != 0) error = krb5Message(context, code);
  return code;
}

krb5_error_code gic_with_password_callback(krb5_context context, krb5_creds* out,
                                           krb5_principal principal, void* data) {
  if (data == nullptr) return EINVAL;
  std::string error;
  return getCredentials(context, principal, *static_cast<const Shredder*>(data), out, error,
                        nullptr, nullptr, nullptr, kDaySeconds, nullptr);
}

int gic_shredder_callback_data_copy_function(const void* from, void** to) {
  if (from == nullptr || to == nullptr) return EINVAL;
  *to = new Shredder(*static_cast<const Shredder*>(from));
  return 0;
}

void gic_shredder_callback_data_free_function(void* data) {
  delete static_cast<Shredder*>(data);
}

}  // namespace tolk
