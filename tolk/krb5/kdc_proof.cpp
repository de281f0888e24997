// krb5_verify_init_creds(3) gets a ticket for the keytab's principal and opens it with the key
// from the file.
#include "tolk/krb5/kdc_proof.h"

#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/machine_account.h"
#include "tolk/krb5/memory_ccache.h"

namespace tolk {
namespace {

constexpr krb5_kvno kAnyVersion = 0;
constexpr krb5_enctype kAnyType = 0;

bool hasKey(krb5_context context, krb5_keytab keytab, krb5_const_principal owner) {
  krb5_keytab_entry entry{};
  if (krb5_kt_get_entry(context, keytab, owner, kAnyVersion, kAnyType, &entry) != 0) return false;
  krb5_free_keytab_entry_contents(context, &entry);
  return true;
}

bool isTicketGranting(krb5_const_principal server) {
  const krb5_data& first = server->data[0];
  return server->length == 2 && std::string_view(first.data, first.length) == KRB5_TGS_NAME;
}

void verify(krb5_context context, krb5_ccache cache, krb5_principal machine, krb5_keytab keytab) {
  krb5_verify_init_creds_opt options;
  krb5_verify_init_creds_opt_init(&options);
  krb5_verify_init_creds_opt_set_ap_req_nofail(&options, 1);
  KerberosCCacheCursor tickets(context, cache);
  while (const krb5_creds* ticket = tickets.next()) {
    if (!isTicketGranting(ticket->server)) continue;
    krb5_creds copy = *ticket;  // for a parameter that is not changed
    return throwIfKrb5(context,
                       krb5_verify_init_creds(context, &copy, machine, keytab, nullptr, &options),
                       "proving the KDC with " + keytabPath());
  }
  throwIfKrb5(context, KRB5_CC_NOTFOUND, "proving the KDC with " + keytabPath());
}

}  // namespace

std::string proveKdc(const KerberosContext& kerberos, const std::string& cacheName) {
  const krb5_context context = kerberos.get();
  Krb5Principal machine(context);
  ADHelper::getMachinePrincipal(context, machine.out());
  Krb5Keytab keytab(context);
  throwIfKrb5(context, krb5_kt_resolve(context, ("FILE:" + keytabPath()).c_str(), keytab.out()),
              "resolving keytab");
  if (!hasKey(context, keytab.get(), machine.get())) return {};
  Krb5OpenCache cache(context);
  throwIfKrb5(context, krb5_cc_resolve(context, cacheName.c_str(), cache.out()), cacheName);
  verify(context, cache.get(), machine.get(), keytab.get());
  Krb5Principal client(context);
  throwIfKrb5(context, krb5_cc_get_principal(context, cache.get(), client.out()), cacheName);
  return principalText(context, client.get());
}

}  // namespace tolk
