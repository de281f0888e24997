// Authenticated LDAP connection to a controller or global catalog of a domain: SASL GSSAPI with
// signing and sealing.
#pragma once

#include <krb5.h>

#include <boost/shared_ptr.hpp>
#include <memory>
#include <string>

#include "tolk/base/shredder.h"
#include "tolk/ldap/ldap_binding.h"

namespace tolk {

class KerberosContext;

/// Called when a ticket is wanted anew because the controller revoked the one at hand (a read-only
/// controller that may not serve the principal): fills the credentials and returns 0, or returns a
/// Kerberos error code. The last argument is the data that was set with it.
using InitialCredentialsCallback = krb5_error_code (*)(krb5_context, krb5_creds*, krb5_principal,
                                                       void*);
/// Copies callback data; returns 0, or an errno value.
using CallbackDataCopy = int (*)(const void* from, void** to);
/// Frees what CallbackDataCopy made.
using CallbackDataFree = void (*)(void*);

/// A binding is made first and connected afterwards; everything that can fail is in connect().
/// Tickets live in memory caches only, also those fetched with a user's own cache. After connect()
/// nothing needs the password: the copy held here is wiped, and both reopening a lost connection
/// and the global-catalog copy use the ticket.
class ADBinding : public LDAPBinding {
 public:
  /// For a user with a password. `user` may be "name", "name@realm" or "DOMAIN\name". `site` is
  /// preferred in the search for a controller of `domain`; a `server` that is not empty is taken
  /// instead. `writable` asks for a controller that takes writes; `rediscover` leaves discovery's
  /// memory aside.
  ADBinding(const std::string& domain, const std::string& user, const Shredder& password,
            KerberosContext* context, const std::string& site, bool writable,
            const std::string& server, bool rediscover);

  /// For the tickets of an existing credential cache (a name as krb5_cc_resolve takes it). It is
  /// copied into memory and left as it is, unless `inPlace`, which stores new tickets in it. The
  /// other arguments as above.
  ADBinding(const std::string& domain, const std::string& cacheName, KerberosContext* context,
            bool inPlace, const std::string& server, const std::string& site, bool writable,
            bool rediscover);

  /// For the same principal and ticket as `from`, which must have been connected: with
  /// `globalCatalog` to a global catalog of its forest on port 3268 (the controller of `from`
  /// itself when it is one), else to the same controller again. Does not use `from` after
  /// construction.
  ADBinding(ADBinding& from, bool globalCatalog);

  ~ADBinding() override;

  /// Finds the server, gets tickets, connects and binds. An argument that is not "" or 0 replaces
  /// what the constructor was given, or the usual port. Throws LDAPException; KerberosException
  /// with the Kerberos code; BaseException with BindError::kInvalidCredentials for a wrong
  /// password; TOLKException when no controller can be found.
  virtual void connect(const std::string& server, const std::string& site, int port);

  /// Sets the callback, its data and the functions that copy and free the data, or with null,
  /// empty, null, null none. Data is shared, copied only by the global-catalog constructor, and
  /// needed until the callback is reset.
  void setInitialCredentialsCallback(InitialCredentialsCallback callback,
                                     boost::shared_ptr<void> data, CallbackDataCopy copy,
                                     CallbackDataFree free);

  /// The DNS name of the domain, in lower case.
  [[nodiscard]] const std::string& domainName() const noexcept;
  /// The DNS name of the forest's root domain; read from the controller at the first call. Throws
  /// LDAPException.
  [[nodiscard]] std::string forestName();
  /// Whether the domain still admits Windows NT controllers: nTMixedDomain of the domain's object
  /// is not 0. Throws LDAPException; SystemException for a value that is no number.
  [[nodiscard]] bool isMixedMode();

 protected:
  void reopen() override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tolk
