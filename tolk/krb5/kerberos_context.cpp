// A context is made on an overlay of the host's profile; the overlay is found again by the bare
// krb5_context that the library hands to callbacks.
#include "tolk/krb5/kerberos_context.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <map>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/krb5/config_files.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/krb5/trace_text.h"

namespace tolk {
namespace {

Logger& wrapLogger() {
  return Logger::GetThreadPrivateLogger("base.kerberos.wrap");
}

void moveAside(const std::string& path) {
  const std::string aside = path + ".bad";
  ::unlink(aside.c_str());
  if (std::rename(path.c_str(), aside.c_str()) == 0) {
    wrapLogger().log(LogLevel::warning, "Moved the malformed " + path + " to " + aside);
    noteTrouble("base.kerberos.wrap", "The malformed " + path + " was moved to " + aside);
    return;
  }
  const int error = errno;
  wrapLogger().log(LogLevel::debug, formatText("Failed to move bad %s aside(errno=%d)",
                                               {path, std::to_string(error)}));
}

/// Moves the host's configuration file out of the way if it is the malformed one; another file that
/// the library reads is named and stays, and so does a host's file that is intact.
void handleMalformed(const std::string& malformed) {
  if (malformed == krb5ConfPath()) return moveAside(malformed);
  const std::string named = malformed.empty() ? "A Kerberos configuration file" : malformed;
  noteTrouble("base.kerberos.wrap", printable(named) + " is malformed; it was left where it is");
}

krb5_context openContext() {
  krb5_context context = nullptr;
  krb5_error_code code = krb5_init_context(&context);
  if (code == KRB5_CONFIG_BADFORMAT) {
    handleMalformed(malformedConfigFile());
    wrapLogger().log(
        LogLevel::warning,
        "Kerberos config file format error, reinit kerberos context using empty profile.");
    // A null profile means the usual files, of which the malformed one is gone now unless it could
    // not be moved.
    code = krb5_init_context_profile(nullptr, 4, &context);
  }
  if (code == 0) return context;
  const std::string reason = std::string("init context: ") + error_message(code);
  wrapLogger().log(LogLevel::error,
                   formatText("Failed to initialize kerberos context (rc=%d), reason=%s",
                              {std::to_string(code), reason}));
  throw KerberosException(reason, code);
}

void configure(krb5_context context) {
  const bool weak = Props().getBool(PN::KRB5_ALLOW_WEAK_CRYPTO);
  krb5_allow_weak_crypto(context, static_cast<krb5_boolean>(weak));
  krb5_set_trace_callback(context, &orv_krb5_trace_cb, nullptr);
}

/// Which overlay belongs to which context, so that functions that get a bare krb5_context find it.
class Overlays {
 public:
  void add(krb5_context context, ProfileOverlay* overlay) {
    const std::lock_guard guard(mutex_);
    overlays_[context] = overlay;
  }
  void remove(krb5_context context) noexcept {
    const std::lock_guard guard(mutex_);
    overlays_.erase(context);
  }
  ProfileOverlay* find(krb5_context context) noexcept {
    const std::lock_guard guard(mutex_);
    const auto found = overlays_.find(context);
    return found == overlays_.end() ? nullptr : found->second;
  }

 private:
  std::mutex mutex_;
  std::map<krb5_context, ProfileOverlay*> overlays_;
};

Overlays& overlays() {
  // Never destroyed: contexts that end with the process still take themselves out.
  static auto* const instance = new Overlays;
  return *instance;
}

}  // namespace

KerberosContext::KerberosContext() : context_(openContext()) {
  configure(context_.get());
  profileUpdate();
}

KerberosContext::~KerberosContext() {
  overlays().remove(context_.get());
}

/// Reopens the context upon the profile it has, with the agent's own values in front: names stay as
/// they are, nothing is looked up in DNS behind the agent's back, and time is what this host says.
void KerberosContext::profileUpdate() {
  profile_t base = nullptr;
  throwIfKrb5(context_.get(), krb5_get_profile(context_.get(), &base), "reading the profile");
  auto overlay = std::make_unique<ProfileOverlay>(base);
  for (const char* name : {"dns_canonicalize_hostname", "rdns", "dns_lookup_kdc",
                           "dns_lookup_realm", "dns_uri_lookup"})
    overlay->set(std::string("libdefaults/") + name, "false");
  // The library would correct its own clock by the KDC's, and hide that this host's is wrong.
  overlay->set("libdefaults/kdc_timesync", "0");

  profile_t upon = overlay->open();
  krb5_context updated = nullptr;
  const krb5_error_code code = krb5_init_context_profile(upon, 0, &updated);
  profile_release(upon);
  throwIfKrb5(nullptr, code, "updating the profile");
  overlay_ = std::move(overlay);
  context_.reset(updated);
  configure(updated);
  overlays().add(updated, overlay_.get());
}

ProfileOverlay* KerberosContext::overlayOf(krb5_context context) noexcept {
  return overlays().find(context);
}

KerberosCCache::~KerberosCCache() {
  if (handle == nullptr) return;
  if (closeOnRelease)
    krb5_cc_close(context, handle);
  else if (destroyOnRelease)
    krb5_cc_destroy(context, handle);
}

}  // namespace tolk

void orv_krb5_trace_cb(krb5_context /*context*/, const krb5_trace_info* info,
                       void* /*data*/) noexcept {
  if (info == nullptr || !tolk::Logger::enabled(tolk::LogLevel::debug)) return;
  try {
    const std::string text = tolk::traceWithoutSecrets(info->message);
    if (!text.empty()) tolk::wrapLogger().log(tolk::LogLevel::debug, text);
  } catch (...) {  // a record that cannot be written is lost
  }
}
