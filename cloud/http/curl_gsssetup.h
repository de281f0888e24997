// Kerberos credentials for a web proxy or web server that asks for SPNEGO (RFC 4559).
#pragma once

#include <gssapi/gssapi.h>

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/lock.h"
#include "tolk/base/shredder.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/memory_ccache.h"
#include "tolk/ldap/canonical_spn.h"

namespace tolk {

class ADBinding;
class MachineTicket;

/// What CurlGsssetupCallback works with. The pointers belong to the helper that made it.
struct CurlGssSetupData {
  krb5_dc_locator_callback_type locator = nullptr;  ///< how KDCs are found
  krb5_context context = nullptr;
  std::string ccache;     ///< as krb5_cc_resolve takes it
  std::string principal;  ///< the service's canonical name
  std::string host;       ///< the host by which GSS-API will ask for the service
};

/// Readies the calling thread for SPNEGO: finds KDCs with the data's locator, puts the service's
/// ticket into the data's cache and makes that GSS-API's cache on this thread. `data` is a
/// CurlGssSetupData; null does nothing. Returns 0 or a GSS-API status.
int CurlGsssetupCallback(void* data) noexcept;
/// The two steps of it.
void gss_init_server_locator(CurlGssSetupData& data);
int gss_init_gic_callback(CurlGssSetupData& data);
/// Makes a cache GSS-API's own on the calling thread; null gives it the usual one back.
OM_uint32 gssUseCCache(const char* name) noexcept;
/// Gives GSS-API an empty cache on the calling thread: without a ticket at hand it would look for
/// KDCs by itself, or take the cache of whoever started the process.
void gssUseNoCCache() noexcept;

/// Makes `binding`, which must be an ADBinding, give another one to the global catalog, or to the
/// controller when no catalog can be reached (CreateDomainBind). Throws BadDataException for a
/// binding of another kind.
void CreateDomainBind4Proxy(const std::string& domain, LDAPBinding*& binding,
                            FreeDomainBind& release);
void FreeDomainBind4Proxy(LDAPBinding* binding);

/// The Kerberos side of one transfer object. Credentials that were obtained for a proxy and user
/// are shared with all others in the process. For one thread at a time.
class CurlProxyNegotiateHelper {
 public:
  CurlProxyNegotiateHelper();
  CurlProxyNegotiateHelper(const CurlProxyNegotiateHelper&) = delete;
  CurlProxyNegotiateHelper& operator=(const CurlProxyNegotiateHelper&) = delete;
  ~CurlProxyNegotiateHelper();

  /// Whom to log on to, "host:port", and as whom; kMachineUser is the computer account. Takes
  /// effect with the next credentials.
  void setPeer(const std::string& server, const std::string& user, const Shredder& password);

  /// Readies the directory for canonicalPrincipal(). A failure is recorded and leaves names as they
  /// are.
  void setSpnLooker();
  /// "HTTP/host" as the directory knows it; "" when it does not, or cannot be asked.
  [[nodiscard]] std::string canonicalPrincipal(const std::string& spn);

  /// Leaves the encryption types to krb5.conf; in FIPS mode limits them to the approved ones of it.
  void setAllowableEtypes(const std::string& realm);

  /// Makes sure that a credential cache has been chosen; false when none can be had.
  bool initKrb5CCache();
  /// A cache with the user's credentials, shared ones or new ones; "" on failure, which is
  /// recorded.
  [[nodiscard]] std::string createUserCCache();
  /// The GSS-API credential of the cache. A failure is recorded.
  void initGSSCredential();
  /// Gives the credential and the cache back.
  void clearGSSCredential();
  /// The next credentials are got with the Kerberos configuration as it is then. After
  /// clearGSSCredential().
  void forgetContext() noexcept { kerberos_.reset(); }
  /// Forgets the cache; its tickets go to the shared one when they are worth it.
  void clearUserKrb5CCache();
  /// Whether a cache holds a ticket for a web service. false on failure, which is recorded.
  [[nodiscard]] bool hasHttpSvcTkt(krb5_ccache cache);
  /// When the first ticket of a cache ends; 0 for a cache without any, and on failure, which is
  /// recorded.
  [[nodiscard]] std::time_t getEarliestExpireTime(krb5_ccache cache);
  /// Looks at the header lines of a failed transfer: a 407 that offers Negotiate throws the
  /// credentials away, the shared ones too, and gets new ones. Whether it has got new ones.
  bool handleKrb5CCache(const std::vector<std::string>& responseHeaders);

  /// Forgets what all share: the stored user's credentials and password may have been taken away.
  static void forgetShared();

  /// The chosen cache; "" without one.
  [[nodiscard]] const std::string& ccacheName() const noexcept { return ccacheName_; }
  /// The data for CurlGsssetupCallback; ready after initGSSCredential(). `principal` is the
  /// service's, `host` what GSS-API will call its host.
  [[nodiscard]] CurlGssSetupData* setupData(const std::string& principal, const std::string& host);

 private:
  struct SharedCCache;

  [[nodiscard]] KerberosContext& kerberos();
  [[nodiscard]] krb5_context context() { return kerberos().get(); }
  [[nodiscard]] bool isMachineAccount() const;
  [[nodiscard]] Krb5Principal proxyPrincipal();
  [[nodiscard]] bool isShared() const;
  [[nodiscard]] bool copyShared(MemoryCCache& to);
  void fetchCredentials(MemoryCCache& to, krb5_principal principal);
  void fill(MemoryCCache& cache, krb5_principal principal);
  void throwIfRefused() const;
  void rememberRefusal(unsigned before, const KerberosException& e) const;
  [[nodiscard]] static unsigned forgotten();
  void share(krb5_ccache from);
  void discardCredentials();
  static void destroyShared();

  static Lock gProxyCredMutex;  // guards the five; never held while a server is asked
  static unsigned gForgotten;   // how often
  static std::unique_ptr<SharedCCache> gProxyCcache;
  static std::string gProxy, gProxyUser;
  static Shredder gProxyPwd;

  std::unique_ptr<KerberosContext> kerberos_;
  std::string proxy_, user_;
  Shredder password_;
  std::optional<MemoryCCache> userCCache_;
  std::shared_ptr<const MachineTicket> machineTicket_;
  std::string ccacheName_;
  gss_cred_id_t credential_ = GSS_C_NO_CREDENTIAL;
  CurlGssSetupData setup_;
  std::shared_ptr<const MachineTicket> directoryTicket_;  // of the binding
  std::unique_ptr<ADBinding> binding_;                    // what canonicalPrincipal() starts from
};

}  // namespace tolk
