// A ticket granting ticket of the computer account.
#include "tolk/krb5/machine_ticket.h"

#include <algorithm>
#include <cstdint>

#include "tolk/krb5/credential_cache.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/machine_account.h"

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
  krb5_cc_cursor cursor = nullptr;
  if (krb5_cc_start_seq_get(context, cache, &cursor) != 0) return latest;
  for (;;) {
    Krb5CredsContents credentials(context);
    if (krb5_cc_next_cred(context, cache, &cursor, credentials.get()) != 0) break;
    const bool setting = krb5_is_config_principal(context, credentials.get()->server) != 0;
    // 32 bits that wrap in 2038 and go on, unsigned, to 2106.
    const auto end = static_cast<std::uint32_t>(credentials.get()->times.endtime);
    if (!setting) latest = std::max(latest, static_cast<std::time_t>(end));
  }
  (void)krb5_cc_end_seq_get(context, cache, &cursor);
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
