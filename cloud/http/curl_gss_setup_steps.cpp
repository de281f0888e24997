// What readies a thread for SPNEGO, and the directory's name of a web service.
#include <gssapi/gssapi_krb5.h>

#include <string_view>
#include <utility>
#include <vector>

#include "cloud/http/cloud_log.h"
#include "cloud/http/curl_gsssetup.h"
#include "cloud/http/known_names.h"
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
  machine->connect();
  std::unique_ptr<ADBinding> made;
  try {
    made = std::make_unique<ADBinding>(*machine, true);
    made->connect();
  } catch (const Base_Exception& e) {
    kLog.debug("No global catalog: %s", {e.what()});
    made = std::make_unique<ADBinding>(*machine, false);
    made->connect();
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
  const std::string domain = loadSetting(SETTING_DOMAIN_NAME);
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
  // krb5.conf decides (permitted_enctypes and its kin); in FIPS mode no more than AES of it.
  if (!FIPSHelper::isStarted()) return;
  krb5_enctype* permitted = nullptr;
  throwIfKrb5(context(), krb5_get_permitted_enctypes(context(), &permitted),
              "reading the encryption types");
  std::vector<krb5_enctype> approved;
  std::string names;
  for (const krb5_enctype* type = permitted; *type != ENCTYPE_NULL; ++type) {
    constexpr std::size_t kMostNameBytes = 64;
    char name[kMostNameBytes] = "";
    if (krb5_enctype_to_name(*type, 0, name, sizeof name) != 0) continue;
    if (!std::string_view(name).starts_with("aes")) continue;
    approved.push_back(*type);
    names.append(name).append(" ");
  }
  krb5_free_enctypes(context(), permitted);
  approved.push_back(ENCTYPE_NULL);
  // For the first exchange, of the password, the library goes by the profile.
  KerberosContext::overlayOf(context())->set("libdefaults/default_tkt_enctypes", names);
  throwIfKrb5(context(), krb5_set_default_tgs_enctypes(context(), approved.data()),
              "limiting the encryption types");
}

}  // namespace tolk
