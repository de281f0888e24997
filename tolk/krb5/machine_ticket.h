// A ticket granting ticket of the computer account, for programs that run on for days.
#pragma once

#include <ctime>
#include <string>

#include "tolk/krb5/kerberos_context.h"

namespace tolk {

/// Got with the machine keytab at construction and kept in a memory cache of its own, which ends
/// with this object. `kerberos` must outlive it, and finds KDCs by the agent's own discovery from
/// now on.
class MachineTicket {
 public:
  /// `principal` is "NAME$@REALM"; "" takes the one of the join settings. `lifetimeSeconds` is
  /// asked for; the KDC may grant less. Throws KerberosException, and NotFoundException without a
  /// principal on a host that is not joined.
  MachineTicket(KerberosContext& kerberos, const std::string& principal, int lifetimeSeconds);

  /// As krb5_cc_resolve takes it.
  [[nodiscard]] const std::string& cacheName() const noexcept { return cacheName_; }
  /// "NAME$@REALM".
  [[nodiscard]] const std::string& principal() const noexcept { return principal_; }
  /// When the ticket ends; 0 when that is not known.
  [[nodiscard]] std::time_t endTime() const noexcept { return endTime_; }

 private:
  std::string cacheName_;
  std::string principal_;
  std::time_t endTime_ = 0;
  KerberosCCache cache_;
};

}  // namespace tolk
