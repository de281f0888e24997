// Authenticated LDAP connection to a controller or global catalog of a domain: SASL GSSAPI with
// signing and sealing.
#pragma once

#include <boost/shared_ptr.hpp>
#include <memory>
#include <string>

#include "tolk/base/shredder.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/ldap/ldap_binding.h"

namespace tolk {

class KerberosContext;
class LDAPException;
struct HostPort;

/// A binding is made first and connected afterwards; everything that can fail is in connect().
/// Tickets live in memory caches only, also those fetched with a user's own cache. After connect()
/// nothing needs the password: the copy held here is wiped, and both reopening a lost connection
/// and the global-catalog copy use the ticket.
class ADBinding : public LDAPBinding {
 public:
  /// For a user with a password. `user` may be "name", "name@realm" or "DOMAIN\name". `site` is
  /// preferred in the search for a controller of `domain`, and when the one that it finds fails,
  /// the next is tried; a `server` that is not empty is taken instead, and no other. `writable`
  /// asks for a controller that takes writes; `rediscover` leaves discovery's memory aside.
  ADBinding(const std::string& domain, const std::string& user, const Shredder& password,
            KerberosContext* context, const std::string& site, bool writable,
            const std::string& server, bool rediscover);

  /// For the tickets of an existing credential cache (a name as krb5_cc_resolve takes it). It is
  /// copied into memory and left as it is, unless `inPlace`, which stores new tickets in it. The
  /// other arguments as above.
  ADBinding(const std::string& domain, const std::string& cacheName, KerberosContext* context,
            bool inPlace, const std::string& server, const std::string& site, bool writable,
            bool rediscover);

  /// For the client and tickets of `from`, which must be connected: with `globalCatalog` to a
  /// global catalog of its forest on port 3268 (the controller of `from` itself when it is one),
  /// else to the same controller once more. Reads the root DSE through `from`, and so may throw
  /// LDAPException; does not use `from` afterwards.
  ADBinding(ADBinding& from, bool globalCatalog);

  ~ADBinding() override;

  /// The server that was given is a name of somebody's choice. Controllers are known by a name that
  /// they alone can have (ldap/HOST/DOMAIN); this one may be an alias, which only ldap/HOST stands
  /// for. Not for a name that comes from DNS or from a server: any member may have that.
  void allowAlias() noexcept;

  /// Finds the server, gets tickets, connects and binds. An argument that is not "" or 0 replaces
  /// what the constructor was given, or the usual port. Throws LDAPException; KerberosException
  /// with the Kerberos code; BaseException with BindError::kInvalidCredentials for a wrong
  /// password, kUnknownUser, kCredentialsUnusable for a user whose ticket the server refuses;
  /// NotFoundException when no controller can be found.
  virtual void connect(const std::string& server = "", const std::string& site = "", int port = 0);

  /// After a read that has failed because the controller is silent or gone: binds to another one.
  /// False when the failure is of another kind, the user has chosen the controller, or there is no
  /// other. Throws as connect().
  bool moveOn(const LDAPException& failure);

  /// Sets what connect() asks for initial credentials when the ticket at hand was revoked, and for
  /// a binding with a password also at first; null with EMPTY_CBDATA sets none. The data is shared
  /// until it is set anew; the global-catalog constructor takes a copy made with `copy`. Without a
  /// callback, a binding with a password uses that.
  void setInitialCredentialsCallback(InitialCredentialsFunction function, CallbackData data,
                                     CallbackDataCopy copy, CallbackDataFree release);

  /// The DNS name of the domain, in lower case.
  [[nodiscard]] const std::string& domainName() const noexcept;
  /// The DNS name of the forest's root domain; read from the controller at the first call. Throws
  /// LDAPException.
  [[nodiscard]] std::string forestName();
  /// The name of the forest's configuration partition, read and failing as forestName().
  [[nodiscard]] std::string configurationContext();
  /// The name of the cache with this connection's tickets, valid while it lives; "" before
  /// connect().
  [[nodiscard]] std::string cacheName() const;
  /// The base below which everything lies that the server holds: "", the forest, on a global
  /// catalog, else the name of the domain, because a controller refuses to search below "".
  [[nodiscard]] std::string wholeTree() const;
  /// Whether the domain still admits Windows NT controllers: nTMixedDomain of the domain's object
  /// is not 0. Throws LDAPException; SystemException for a value that is no number.
  [[nodiscard]] bool isMixedMode();

 protected:
  /// Asks another controller when the one that was found goes silent.
  ADObjectList run(const SearchRequest& request) override;
  void reopen() override;

 private:
  struct Impl;
  void open(const HostPort& target);
  void openFirst(HostPort target);
  [[nodiscard]] const ADObject& rootDse();

  std::unique_ptr<Impl> impl_;
};

}  // namespace tolk
