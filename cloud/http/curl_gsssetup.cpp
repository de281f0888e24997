// Kerberos credentials for a web proxy or web server that asks for SPNEGO.
#include "cloud/http/curl_gsssetup.h"

#include <gssapi/gssapi_ext.h>

#include <string_view>
#include <utility>

#include "cloud/http/cloud_log.h"
#include "cloud/http/http_proxy.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/machine_account.h"
#include "tolk/krb5/machine_ticket.h"
#include "tolk/krb5/user_principal.h"
#include "tolk/ldap/ad_binding.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.proxy.gss"};
constexpr int kLifetimeSeconds = 10 * 60 * 60;
constexpr long kDefaultCheckSeconds = 3600;

// One fetch at a time: who comes meanwhile finds its result in the shared cache.
Lock fetching;

/// Credentials that could not be got: each further try may lock the account, or wait in vain.
struct Refused {
  std::string proxy, user;
  Shredder password;
  std::time_t until = 0;
  std::string reason;
  int code = 0;
};
constexpr std::time_t kRefusedSeconds = 60;
Lock refusing;
Refused refused;  // guarded by refusing

bool offersNegotiate(std::string_view line) {
  constexpr std::string_view kName = "Proxy-Authenticate:";
  return equalsIgnoringCase(line.substr(0, kName.size()), kName) &&
         line.find(" Negotiate") != std::string_view::npos;
}

bool deniesProxy(std::string_view line) {
  return line.starts_with("HTTP/") &&
         line.find("407 Proxy Authentication Required") != std::string_view::npos;
}

// A transfer may have got several answers, so all lines are looked at, in their order.
bool negotiateFailed(const std::vector<std::string>& lines) {
  bool denied = false;
  for (const std::string& line : lines) {
    denied = denied || deniesProxy(line);
    if (denied && offersNegotiate(line)) return true;
  }
  return false;
}

}  // namespace

/// The shared cache with the context that it needs to its end.
struct CurlProxyNegotiateHelper::SharedCCache {
  explicit SharedCCache(krb5_ccache from) : cache(kerberos.get(), clientOf(from).get()) {
    cache.copyFrom(from);
  }

  Krb5Principal clientOf(krb5_ccache from) {
    Krb5Principal client(kerberos.get());
    throwIfKrb5(kerberos.get(), krb5_cc_get_principal(kerberos.get(), from, client.out()),
                "krb5_cc_get_principal");
    return client;
  }

  KerberosContext kerberos;
  MemoryCCache cache;
};

Lock CurlProxyNegotiateHelper::gProxyCredMutex;
unsigned CurlProxyNegotiateHelper::gForgotten = 0;
std::unique_ptr<CurlProxyNegotiateHelper::SharedCCache> CurlProxyNegotiateHelper::gProxyCcache;
std::string CurlProxyNegotiateHelper::gProxy;
std::string CurlProxyNegotiateHelper::gProxyUser;
Shredder CurlProxyNegotiateHelper::gProxyPwd;

CurlProxyNegotiateHelper::CurlProxyNegotiateHelper() = default;

CurlProxyNegotiateHelper::~CurlProxyNegotiateHelper() {
  OM_uint32 minor = 0;
  (void)gss_release_cred(&minor, &credential_);
}

void CurlProxyNegotiateHelper::setPeer(const std::string& server, const std::string& user,
                                       const Shredder& password) {
  proxy_ = server;
  user_ = user;
  password_ = password;
}

KerberosContext& CurlProxyNegotiateHelper::kerberos() {
  if (!kerberos_) {
    auto fresh = std::make_unique<KerberosContext>();
    throwIfKrb5(fresh->get(), krb5_set_server_locator(fresh->get(), krb5_dc_locator_callback),
                "setting the search for KDCs");
    kerberos_ = std::move(fresh);
  }
  return *kerberos_;
}

bool CurlProxyNegotiateHelper::isMachineAccount() const {
  return user_ == kMachineUser;
}

// The caller holds gProxyCredMutex.
bool CurlProxyNegotiateHelper::isShared() const {
  return gProxyCcache && gProxy == proxy_ && gProxyUser == user_ &&
         gProxyPwd.view() == password_.view();
}

// The caller holds gProxyCredMutex.
void CurlProxyNegotiateHelper::destroyShared() {
  if (!gProxyCcache) return;
  const krb5_error_code code = gProxyCcache->cache.destroy();
  if (code != 0) {
    kLog.error("Failed to destroy shared Kerberos credential cache for HTTP Proxy Server. (%d:%s)",
               {std::to_string(code), krb5Message(gProxyCcache->kerberos.get(), code)});
  }
  gProxyCcache.reset();
}

// The caller holds gProxyCredMutex.
void CurlProxyNegotiateHelper::share(krb5_ccache from) {
  destroyShared();
  gProxyCcache = std::make_unique<SharedCCache>(from);
  gProxy = proxy_;
  gProxyUser = user_;
  gProxyPwd = password_;
}

unsigned CurlProxyNegotiateHelper::forgotten() {
  const std::lock_guard lock(gProxyCredMutex);
  return gForgotten;
}

void CurlProxyNegotiateHelper::forgetShared() {
  {
    const std::lock_guard lock(gProxyCredMutex);
    ++gForgotten;
    destroyShared();
    gProxy.clear();
    gProxyUser.clear();
    gProxyPwd.wipe();
  }
  const std::lock_guard lock(refusing);
  refused = {};
}

bool CurlProxyNegotiateHelper::copyShared(MemoryCCache& to) {
  const long checkSeconds =
      Props().getTime(PN::CLOUD_PROXY_CRED_EXP_CHK_TIME, 's', kDefaultCheckSeconds);
  const std::lock_guard lock(gProxyCredMutex);
  if (!isShared()) return false;
  const std::time_t end = getEarliestExpireTime(gProxyCcache->cache.handle());
  if (end <= std::time(nullptr) + checkSeconds) return false;
  to.copyFrom(gProxyCcache->cache.handle());
  kLog.debug("Copy shared Kerberos credential to access HTTP Proxy Server");
  return true;
}

void CurlProxyNegotiateHelper::fetchCredentials(MemoryCCache& to, krb5_principal principal) {
  Krb5CredsContents credentials(context());
  std::string error;
  const krb5_error_code code =
      getCredentials(context(), principal, password_, credentials.get(), error, nullptr, nullptr,
                     nullptr, kLifetimeSeconds, nullptr);
  if (code != 0) throw KerberosException("getCredentials: " + error, static_cast<int>(code));
  throwIfKrb5(context(), krb5_cc_store_cred(context(), to.handle(), credentials.get()),
              "krb5_cc_store_cred");
  kLog.debug("Retrieved Kerberos credential to access HTTP Proxy Server as user %s", {user_});
}

void CurlProxyNegotiateHelper::fill(MemoryCCache& cache, krb5_principal principal) {
  if (copyShared(cache)) return;
  const std::lock_guard single(fetching);
  if (copyShared(cache)) return;
  throwIfRefused();
  const unsigned before = forgotten();
  try {
    fetchCredentials(cache, principal);
  } catch (const KerberosException& e) {
    rememberRefusal(before, e);
    throw;
  }
  const std::lock_guard lock(gProxyCredMutex);
  if (gForgotten == before) share(cache.handle());
}

// With what was forgotten meanwhile nobody tries again.
void CurlProxyNegotiateHelper::rememberRefusal(unsigned before, const KerberosException& e) const {
  if (forgotten() != before) return;
  const std::lock_guard lock(refusing);
  refused = {.proxy = proxy_,
             .user = user_,
             .password = password_,
             .until = std::time(nullptr) + kRefusedSeconds,
             .reason = e.what(),
             .code = e.code()};
}

void CurlProxyNegotiateHelper::throwIfRefused() const {
  const std::lock_guard lock(refusing);
  if (refused.until > std::time(nullptr) && refused.proxy == proxy_ && refused.user == user_ &&
      refused.password.view() == password_.view()) {
    throw KerberosException(refused.reason, refused.code);
  }
}

Krb5Principal CurlProxyNegotiateHelper::proxyPrincipal() {
  Krb5Principal principal = userPrincipal(context(), user_, loadSetting(SETTING_DOMAIN_NAME));
  setAllowableEtypes(ADUser::getRealmName(principalText(context(), principal.get()), nullptr));
  return principal;
}

std::string CurlProxyNegotiateHelper::createUserCCache() {
  std::optional<MemoryCCache> cache;
  try {
    const Krb5Principal principal = proxyPrincipal();
    cache.emplace(context(), principal.get());
    fill(*cache, principal.get());
  } catch (const Base_Exception& e) {
    if (cache) {
      kLog.error(
          "Failed to get/store Kerberos credential to access HTTP Proxy Server (Error:%s). Use of "
          "HTTP Proxy Server might fail!",
          {e.what()});
    } else {
      kLog.debug("%s", {e.what()});
      kLog.error(
          "Failed to create Kerberos ccache to access HTTP Proxy Server. Use of HTTP Proxy Server "
          "might fail!");
    }
    return {};
  }
  userCCache_ = std::move(cache);
  kLog.debug("Created User CCache '%s' to access HTTP Proxy Server", {userCCache_->name()});
  return userCCache_->name();
}

bool CurlProxyNegotiateHelper::initKrb5CCache() {
  if (!ccacheName_.empty()) {
    kLog.debug("KRB5 CCache exists as '%s'.", {ccacheName_});
    return true;
  }
  if (!isMachineAccount()) {
    ccacheName_ = createUserCCache();
    return !ccacheName_.empty();
  }
  try {
    machineTicket_ = ADHelper::GetMachineCredCache();
    ccacheName_ = machineTicket_->cacheName();
  } catch (const Base_Exception& e) {
    kLog.error(
        "Failed to get/store Kerberos credential to access HTTP Proxy Server (Error:%s). Use of "
        "HTTP Proxy Server might fail!",
        {e.what()});
  }
  return !ccacheName_.empty();
}

void CurlProxyNegotiateHelper::initGSSCredential() {
  kLog.debug("initGSSCredential with KRB5 CCache '%s'.", {ccacheName_});
  OM_uint32 minor = 0;
  (void)gss_release_cred(&minor, &credential_);
  gss_key_value_element_desc element{"ccache", ccacheName_.c_str()};
  const gss_key_value_set_desc store{1, &element};
  if (ccacheName_.empty() ||
      gss_acquire_cred_from(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, GSS_C_NO_OID_SET,
                            GSS_C_INITIATE, &store, &credential_, nullptr,
                            nullptr) != GSS_S_COMPLETE) {
    kLog.error("Failed to get gss credential.");
  }
}

CurlGssSetupData* CurlProxyNegotiateHelper::setupData(const std::string& principal,
                                                      const std::string& host) {
  setup_ = {.locator = krb5_dc_locator_callback,
            .context = context(),
            .ccache = ccacheName_,
            .principal = principal,
            .host = host};
  return &setup_;
}

void CurlProxyNegotiateHelper::clearGSSCredential() {
  kLog.debug("Release GSS credential handler.");
  OM_uint32 minor = 0;
  (void)gss_release_cred(&minor, &credential_);
  clearUserKrb5CCache();
}

void CurlProxyNegotiateHelper::clearUserKrb5CCache() {
  kLog.debug("Clear Krb5CCache '%s'.", {ccacheName_});
  if (userCCache_ && hasHttpSvcTkt(userCCache_->handle())) {
    const std::lock_guard lock(gProxyCredMutex);
    if (isShared()) {
      try {
        destroyShared();
        kLog.debug("Update shared Kerberos credential cache for HTTP Proxy Server.");
        share(userCCache_->handle());
      } catch (const Base_Exception& e) {
        kLog.error("%s", {e.what()});
      }
    }
  }
  userCCache_.reset();
  machineTicket_.reset();
  ccacheName_.clear();
}

bool CurlProxyNegotiateHelper::hasHttpSvcTkt(krb5_ccache cache) {
  try {
    KerberosCCacheCursor tickets(context(), cache);
    while (const krb5_creds* ticket = tickets.next()) {
      const krb5_data* service = &ticket->server->data[0];
      if (ticket->server->length > 0 &&
          std::string_view(service->data, service->length) == "HTTP") {
        return true;
      }
    }
  } catch (const Base_Exception& e) {
    kLog.error("failed to check if HTTP service tickets available:%s", {e.what()});
  }
  return false;
}

std::time_t CurlProxyNegotiateHelper::getEarliestExpireTime(krb5_ccache cache) {
  std::time_t earliest = 0;
  try {
    KerberosCCacheCursor tickets(context(), cache);
    while (const krb5_creds* ticket = tickets.next()) {
      const std::time_t end = endTime(*ticket);
      if (earliest == 0 || end < earliest) earliest = end;
    }
  } catch (const Base_Exception& e) {
    kLog.error("failed to get earliest expire time of all tickets:%s", {e.what()});
    return 0;
  }
  return earliest;
}

// A proxy has refused the tickets: nobody is to use them again.
void CurlProxyNegotiateHelper::discardCredentials() {
  OM_uint32 minor = 0;
  (void)gss_release_cred(&minor, &credential_);
  {
    const std::lock_guard lock(gProxyCredMutex);
    if (isShared()) destroyShared();
  }
  userCCache_.reset();
  machineTicket_.reset();
  ccacheName_.clear();
  if (!isMachineAccount()) return;
  try {
    (void)ADHelper::GetMachineCredCache(true);
  } catch (const Base_Exception& e) {
    kLog.error("%s", {e.what()});
  }
}

bool CurlProxyNegotiateHelper::handleKrb5CCache(const std::vector<std::string>& responseHeaders) {
  if (user_.empty()) {
    kLog.debug("Username not available/set. Username must be provided to create krb5 ccache!");
    return false;
  }
  kLog.debug("HEADER size = %d\n", {std::to_string(responseHeaders.size())});
  for (const std::string& line : responseHeaders) kLog.debug("HEADER %s\n", {line});
  if (!negotiateFailed(responseHeaders)) return false;
  kLog.debug("'negotiate' proxy authentication failed, Refresh krb5 credential cache file.");
  discardCredentials();
  return initKrb5CCache();
}

}  // namespace tolk
