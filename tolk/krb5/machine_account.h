// The computer account of a joined host as a Kerberos client.
#pragma once

#include <memory>
#include <string>

#include "tolk/krb5/kerberos_context.h"

namespace tolk {

class MachineTicket;

struct ADHelper {
  /// The computer account's tickets for all threads of this process: one cache, got with the keytab
  /// at the first call and anew when it is about to end, when the account is another, or with
  /// `renew`. It lives as long as somebody holds it. Throws as MachineTicket does; a failure is the
  /// answer to all for some seconds.
  static std::shared_ptr<const MachineTicket> GetMachineCredCache(bool renew = false);

  /// The computer account's principal from the join settings, "NETBIOSNAME$@REALM"; the caller
  /// frees it. Throws NotFoundException when the host is not joined, KerberosException otherwise.
  static void getMachinePrincipal(krb5_context context, krb5_principal* out);

  /// Fills the cache named `cacheName` with a ticket granting ticket for `principal`, got with the
  /// keys in keytabPath(), valid for `lifetime` seconds if the KDC agrees, and leaves the open
  /// cache in `cache.handle`. Throws KerberosException.
  static void getMachineCredCache(krb5_context context, const std::string& cacheName,
                                  krb5_principal principal, KerberosCCache& cache, int lifetime);
};

}  // namespace tolk
