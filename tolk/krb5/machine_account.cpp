// The exchange is the same as a user's; the key comes from the keytab.
#include "tolk/krb5/machine_account.h"

#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {

void ADHelper::getMachinePrincipal(krb5_context context, krb5_principal* out) {
  const std::string realm = toUpper(loadSetting(SETTING_DOMAIN_NAME, false, true));
  const std::string name = toUpper(PreW2KHostName()) + "$";
  throwIfKrb5(context,
              krb5_build_principal(context, out, static_cast<unsigned>(realm.size()), realm.c_str(),
                                   name.c_str(), nullptr),
              "naming the computer account");
}

void ADHelper::getMachineCredCache(krb5_context context, const std::string& cacheName,
                                   krb5_principal principal, KerberosCCache& cache, int lifetime) {
  const std::string keytabName = "FILE:" + keytabPath();
  const std::string what = "getting credentials of " + principalText(context, principal) +
                           " with keytab " + keytabPath();
  if (cache.handle == nullptr)
    throwIfKrb5(context, krb5_cc_resolve(context, cacheName.c_str(), &cache.handle), what);
  Krb5Keytab keytab(context);
  throwIfKrb5(context, krb5_kt_resolve(context, keytabName.c_str(), keytab.out()), what);
  Krb5InitOptions options(context);
  throwIfKrb5(context, krb5_get_init_creds_opt_alloc(context, options.out()), what);
  krb5_get_init_creds_opt_set_tkt_life(options.get(), lifetime);
  krb5_get_init_creds_opt_set_forwardable(options.get(), 0);
  krb5_get_init_creds_opt_set_proxiable(options.get(), 0);
  throwIfKrb5(context, krb5_get_init_creds_opt_set_out_ccache(context, options.get(), cache.handle),
              what);
  Krb5CredsContents credentials(context);
  InitialExchange exchange(context, principal);
  throwIfKrb5(context, exchange.begin(options.get()), what);
  throwIfKrb5(context, exchange.useKeytab(keytab.get()), what);
  throwIfKrb5(context, exchange.run(credentials.get()), what);
}

}  // namespace tolk
