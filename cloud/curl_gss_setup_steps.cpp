// What readies a thread for SPNEGO, and the directory's name of a web service.
#include <gssapi/gssapi_krb5.h>

#include <ctime>
#include <map>
#include <utility>

#include "cloud/cloud_log.h"
#include "cloud/curl_gsssetup.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/fips.h"
#include "tolk/base/join_settings.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/machine_account.h"
#include "tolk/krb5/machine_ticket.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/krb5/service_ticket.h"
#include "tolk/ldap/ad_binding.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.proxy.gss"};

/// Canonical names that were found lately, and names that were not.
class KnownNames {
 public:
  /// False when the name was not looked up lately.
  bool find(const std::string& spn, std::string& canonical) {
    const std::lock_guard guard(lock_);
    const auto known = names_.find(spn);
    if (known == names_.end() || known->second.until < std::time(nullptr)) return false;
    canonical = known->second.canonical;
    return true;
  }
  void remember(const std::string& spn, const std::string& canonical) {
    constexpr std::time_t kFoundSeconds = 3600;
    constexpr std::time_t kMissingSeconds = 60;
    constexpr std::size_t kMostNames = 64;
    const std::lock_guard guard(lock_);
    if (names_.size() >= kMostNames) names_.clear();
    names_[spn] = {canonical,
                   std::time(nullptr) + (canonical.empty() ? kMissingSeconds : kFoundSeconds)};
  }

 private:
  struct Name {
    std::string canonical;
    std::time_t until = 0;
  };
  Lock lock_;
  std::map<std::string, Name> names_;
};

KnownNames knownNames;

}  // namespace

OM_uint32 gssUseCCache(const char* name) noexcept {
  OM_uint32 minor = 0;
  return gss_krb5_ccache_name(&minor, name, nullptr);
}

void gssUseNoCCache() noexcept {
  (void)gssUseCCache("MEMORY:joinscope_none");
}

void gss_init_server_locator(CurlGssSetupData& data) {
  throwIfKrb5(data.context, krb5_set_server_locator(data.context, data.locator),
              "setting the search for KDCs");
}

int gss_init_gic_callback(CurlGssSetupData& data) {
  Krb5OpenCache cache(data.context);
  throwIfKrb5(data.context, krb5_cc_resolve(data.context, data.ccache.c_str(), cache.out()),
              "opening the credential cache " + data.ccache);
  fetchServiceTicketAs(data.context, cache.get(), data.principal, "HTTP", data.host);
  return static_cast<int>(gssUseCCache(data.ccache.c_str()));
}

int CurlGsssetupCallback(void* data) noexcept {
  if (data == nullptr) return 0;
  auto& setup = *static_cast<CurlGssSetupData*>(data);
  try {
    gss_init_server_locator(setup);
    return gss_init_gic_callback(setup);
  } catch (const std::exception& e) {
    kLog.debug("%s", {e.what()});
    gssUseNoCCache();
    return GSS_S_NO_CRED;
  }
}

void CreateDomainBind4Proxy(const std::string& domain, LDAPBinding*& binding,
                            FreeDomainBind& release) {
  auto* machine = dynamic_cast<ADBinding*>(binding);
  if (machine == nullptr) {
    throw BadDataException(
        "Failed to downcast ADBind to ADBinding, incorrect binding type was supplied!");
  }
  kLog.debug("Asking the directory of '%s' for the name of a web service", {domain});
  machine->connect("", "", 0);
  std::unique_ptr<ADBinding> made;
  try {
    made = std::make_unique<ADBinding>(*machine, true);
    made->connect("", "", 0);
  } catch (const Base_Exception& e) {
    kLog.debug("No global catalog: %s", {e.what()});
    made = std::make_unique<ADBinding>(*machine, false);
    made->connect("", "", 0);
  }
  binding = made.release();
  release = FreeDomainBind4Proxy;
}

void FreeDomainBind4Proxy(LDAPBinding* binding) {
  delete binding;
}

void CurlProxyNegotiateHelper::setSpnLooker() {
  try {
    directoryTicket_ = ADHelper::GetMachineCredCache();
    binding_ = std::make_unique<ADBinding>(loadSetting(SETTING_DOMAIN_NAME, false, true),
                                           directoryTicket_->cacheName(), &kerberos(), true,
                                           std::string(), std::string(), false, false);
  } catch (const Base_Exception& e) {
    kLog.error("Failed to set bindng and lookup function to canonicalize SPN: %s", {e.what()});
  }
}

std::string CurlProxyNegotiateHelper::canonicalPrincipal(const std::string& spn) {
  std::string canonical;
  const std::string domain = loadSetting(SETTING_DOMAIN_NAME, false, false);
  const std::string key = spn + "@" + domain;
  if (knownNames.find(key, canonical)) return canonical;
  setSpnLooker();
  try {
    if (binding_) {
      canonical = CanonicalSpn(spn, domain, *binding_, CreateDomainBind4Proxy);
    }
  } catch (const Base_Exception& e) {
    kLog.debug("Cannot look up %s in the directory: %s", {spn, e.what()});
  }
  binding_.reset();
  directoryTicket_.reset();
  knownNames.remember(key, canonical);
  return canonical;
}

void CurlProxyNegotiateHelper::setAllowableEtypes(const std::string& realm) {
  kLog.debug("CurlProxyNegotiateHelper::setAllowableEtypes for realm '%s'", {realm});
  // What the controllers of a domain speak (MS-KILE 3.1.5.2), without DES; RC4 is not approved.
  const bool fips = FIPSHelper::isStarted();
  // For the first exchange, of the password, the library goes by the profile.
  KerberosContext::overlayOf(context())->set(
      "libdefaults/default_tkt_enctypes",
      std::string("aes256-cts aes128-cts") + (fips ? "" : " arcfour-hmac"));
  krb5_enctype types[] = {ENCTYPE_AES256_CTS_HMAC_SHA1_96, ENCTYPE_AES128_CTS_HMAC_SHA1_96,
                          ENCTYPE_ARCFOUR_HMAC, ENCTYPE_NULL};
  if (fips) types[2] = ENCTYPE_NULL;
  throwIfKrb5(context(), krb5_set_default_tgs_enctypes(context(), types),
              "limiting the encryption types");
}

}  // namespace tolk
