// A ticket granting ticket of the computer account.
#include "tolk/krb5/machine_ticket.h"

#include <algorithm>

#include "tolk/krb5/credential_cache.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/machine_account.h"
#include "tolk/krb5/memory_ccache.h"

namespace tolk {
namespace {

Krb5Principal parsePrincipal(krb5_context context, const std::string& text) {
  Krb5Principal principal(context);
  if (text.empty()) {
    ADHelper::getMachinePrincipal(context, principal.out());
  } else {
    throwIfKrb5(context, krb5_parse_name(context, text.c_str(), principal.out()),
                "reading the principal " + text);
  }
  return principal;
}

// The cache is fresh: what it holds is the one ticket that was just got.
std::time_t latestEnd(krb5_context context, krb5_ccache cache) {
  std::time_t latest = 0;
  KerberosCCacheCursor tickets(context, cache);
  while (const krb5_creds* ticket = tickets.next()) latest = std::max(latest, endTime(*ticket));
  return latest;
}

}  // namespace

MachineTicket::MachineTicket(KerberosContext& kerberos, const std::string& principal,
                             int lifetimeSeconds)
    : cacheName_(UniqueMemCacheName(this)), cache_(kerberos.get()) {
  const krb5_context context = kerberos.get();
  throwIfKrb5(context, krb5_set_server_locator(context, krb5_dc_locator_callback),
              "setting the search for KDCs");
  const Krb5Principal client = parsePrincipal(context, principal);
  principal_ = principalText(context, client.get());
  cache_.destroyOnRelease = true;
  ADHelper::getMachineCredCache(context, cacheName_, client.get(), cache_, lifetimeSeconds);
  endTime_ = latestEnd(context, cache_.handle);
}

}  // namespace tolk
