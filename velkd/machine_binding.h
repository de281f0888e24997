// A directory binding with the machine keytab and all that it lives on.
#pragma once

#include <ctime>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/machine_ticket.h"
#include "tolk/ldap/ad_binding.h"

namespace velkd {

/// Whether a failed read means that its connection is of no more use: the client library failed, or
/// the server is going away.
[[nodiscard]] bool meansLost(const tolk::LDAPException& failure) noexcept;

/// Whether it means that the server did not answer in time.
[[nodiscard]] bool meansSilent(const tolk::LDAPException& failure) noexcept;

/// As whom to bind, and where.
struct MachineIdentity {
  std::string domain;     ///< DNS name
  std::string principal;  ///< "NAME$@REALM", or "" for the account of the join settings
  std::string server;     ///< a controller; "" searches for one
};

/// Connected from construction on. For one thread.
class MachineBinding {
 public:
  /// Finds a controller anew, gets a ticket with the keytab, connects and binds; each step within
  /// its own configured limit. Throws KerberosException, LDAPException, BaseException,
  /// TOLKException, DNSUnavailableException or NotFoundException as these steps do.
  explicit MachineBinding(const MachineIdentity& identity);

  /// One object. No attributes asks for all; `found` false when there is no such object. Waits at
  /// most PN::VELKD_DIRECTORY_TIMEOUT for each answer. Throws LDAPException.
  struct Read {
    bool found = false;
    tolk::ADObject object;
  };
  [[nodiscard]] static Read read(tolk::LDAPBinding& binding, const std::string& dn,
                                 const std::vector<std::string>& attributes);
  [[nodiscard]] Read read(const std::string& dn, const std::vector<std::string>& attributes) {
    return read(binding_, dn, attributes);
  }

  /// Another binding with the same ticket: to a controller of `domain`, or to `server` when that is
  /// not empty. Must not outlive this object. Throws as the constructor does.
  [[nodiscard]] std::unique_ptr<tolk::ADBinding> bindTo(const std::string& domain,
                                                        const std::string& server);

  [[nodiscard]] tolk::ADBinding& directory() noexcept { return binding_; }
  /// Host name of the controller.
  [[nodiscard]] const std::string& host() const noexcept { return host_; }
  [[nodiscard]] const tolk::MachineTicket& ticket() const noexcept { return ticket_; }

 private:
  std::string host_;
  tolk::KerberosContext kerberos_;
  tolk::MachineTicket ticket_;
  tolk::ADBinding binding_;
};

}  // namespace velkd
