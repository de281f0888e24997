// The tickets that a directory binding lives on: a cache, the way it gets its ticket granting
// ticket, and the ticket for the server.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {

/// The server that a binding needs a ticket for.
struct LdapServer {
  std::string host;  ///< DNS name
  std::string realm;
  bool named = false;  ///< somebody has given this very name: it comes from no search
};

/// A cache with tickets for one client. Bindings made from one another share it, so that a
/// reconnect or a global catalog binding needs no password. `kerberos` must outlive it.
class BindingTickets {
 public:
  /// For `user` of `domain` (as userPrincipal() takes them): a memory cache of its own, empty until
  /// obtain() asks for the ticket granting ticket. Throws KerberosException.
  static boost::shared_ptr<BindingTickets> forUser(KerberosContext& kerberos,
                                                   const std::string& user,
                                                   const std::string& domain);
  /// From the cache named `cacheName`: a copy of its tickets in memory, or with `inPlace` the cache
  /// itself, to which service tickets are then added. Throws KerberosException.
  static boost::shared_ptr<BindingTickets> fromCache(KerberosContext& kerberos,
                                                     const std::string& cacheName,
                                                     bool inPlace = false);

  BindingTickets(const BindingTickets&) = delete;
  BindingTickets& operator=(const BindingTickets&) = delete;

  /// Makes sure that the cache holds a ticket for `server`, of the kind that controllers alone can
  /// have. Where its domain has none of that name, one that was named may be known as ldap/HOST, as
  /// an alias is; that is told as a trouble (tolk/base/troubles.h). `callback` is asked for initial
  /// credentials when a user has none yet, and once when the KDC says that those of a cache were
  /// revoked; the new ones go to memory, a named cache stays untouched. Throws BaseException
  /// kInvalidCredentials when the KDC refuses a user's password or there is none, kUnknownUser,
  /// kJoinedToOtherDomain when no trust leads from a computer account's realm to the server's, else
  /// KerberosException (the revocation itself when the callback did not help).
  void obtain(const InitialCredentialsCallback& callback, const LdapServer& server);

  /// Open as long as this object lives; obtain() may replace it.
  [[nodiscard]] krb5_ccache cache() const noexcept;
  /// The cache's name with its type, for gss_acquire_cred_from and for messages.
  [[nodiscard]] std::string cacheName() const;
  [[nodiscard]] KerberosContext& kerberos() const noexcept { return kerberos_; }

 private:
  explicit BindingTickets(KerberosContext& kerberos) noexcept;

  void fetch(const LdapServer& server);
  void fetchByName(const LdapServer& server);
  krb5_error_code ask(const InitialCredentialsCallback& callback);
  void startOwnCache(krb5_principal client);

  KerberosContext& kerberos_;
  Krb5Principal client_;
  Krb5OpenCache named_;       // another's cache: closed only
  Krb5OwnCache own_;          // in memory, destroyed with this object
  bool needsTicket_ = false;  // no ticket granting ticket yet
};

}  // namespace tolk
