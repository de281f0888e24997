// The computer account's tickets, shared by the threads of a process.
#include <ctime>
#include <mutex>

#include "tolk/base/lock.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/machine_account.h"
#include "tolk/krb5/machine_ticket.h"

namespace tolk {
namespace {

constexpr int kLifetimeSeconds = 10 * 60 * 60;
constexpr std::time_t kRenewSecondsBeforeEnd = 600;

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

bool isUsable(const MachineTicket& ticket) {
  return ticket.endTime() - std::time(nullptr) > kRenewSecondsBeforeEnd &&
         ticket.principal() == joinedPrincipal();
}

}  // namespace

std::shared_ptr<const MachineTicket> ADHelper::GetMachineCredCache(bool renew) {
  static Lock lock;  // held while the KDC is asked: who comes meanwhile waits for the same tickets
  static std::shared_ptr<const MachineTicket> shared;
  const std::lock_guard guard(lock);
  if (!renew && shared && isUsable(*shared)) return shared;
  const auto fresh = std::make_shared<OwnTicket>();
  shared = {fresh, &fresh->ticket};
  return shared;
}

}  // namespace tolk
