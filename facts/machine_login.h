// The login of the computer account by the own way, and the proof of each of its keys.
#pragma once

#include <memory>
#include <string>

#include "facts/facts.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/memory_ccache.h"

namespace joinscope::facts {

/// From here on `kerberos` asks the key distribution centers that discovery finds, or only the
/// controller `server`. For the calling thread. Throws KerberosException.
void useOwnWay(tolk::KerberosContext& kerberos, const std::string& server);

/// Fills the list of keys that are to be shown: those of the highest version of `account`, as the
/// keytab holds them, the ones that the Kerberos library prefers first. Pure.
std::vector<ProvedKey> keysToShow(const Facts& local, const std::string& account);

/// The computer account of which the keytab has keys in the domain's realm, that of the join first:
/// "NAME$@REALM"; "" without. Pure.
std::string accountToShow(const Facts& local);

/// Shows the keys, one after the other, each alone and once, until one is refused; one that was
/// refused in an earlier run is shown again as Refusals says, or when the file has changed.
class MachineLogin {
 public:
  /// `kerberos` must outlive this and go the own way.
  explicit MachineLogin(const tolk::KerberosContext& kerberos) : kerberos_(kerberos) {}

  /// Fills keys, attempts and login of `found`, whose account and keys are set.
  void run(const std::string& keytab, Kerberos& found);

  /// The cache with the ticket of the first key that was good; "" without.
  [[nodiscard]] std::string cacheName() const { return cache_ ? cache_->name() : std::string(); }

 private:
  class Round;
  const tolk::KerberosContext& kerberos_;
  std::unique_ptr<tolk::MemoryCCache> cache_;
};

}  // namespace joinscope::facts
