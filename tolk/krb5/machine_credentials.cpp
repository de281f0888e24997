// The computer account's tickets, shared by the threads of a process.
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/machine_account.h"
#include "tolk/krb5/machine_ticket.h"
#include "tolk/krb5/shared_ticket.h"

namespace tolk {
namespace {

constexpr int kLifetimeSeconds = 10 * 60 * 60;

/// A ticket with the context that it needs to its end.
struct OwnTicket {
  KerberosContext kerberos;
  MachineTicket ticket{kerberos, "", kLifetimeSeconds};
};

std::string joinedPrincipal() {
  const KerberosContext kerberos;
  Krb5Principal principal(kerberos.get());
  ADHelper::getMachinePrincipal(kerberos.get(), principal.out());
  return principalText(kerberos.get(), principal.get());
}

}  // namespace

std::shared_ptr<const MachineTicket> ADHelper::GetMachineCredCache(bool renew) {
  static SharedTicket<MachineTicket> shared;
  return shared.get(joinedPrincipal(), renew, [] {
    const auto fresh = std::make_shared<OwnTicket>();
    return std::shared_ptr<const MachineTicket>(fresh, &fresh->ticket);
  });
}

}  // namespace tolk
