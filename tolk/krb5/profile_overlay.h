// Values laid over a Kerberos profile in memory: no file is written, none needs to exist.
#pragma once

#include <list>
#include <map>
#include <optional>
#include <string>

#include "tolk/krb5/krb5_library.h"
#include "tolk/krb5/scoped_variable.h"

namespace tolk {

/// A read-only profile (profile_init_vtable) that answers from its own values first, then from a
/// base profile. Contexts made upon it keep a pointer to this object, which must outlive them; a
/// changed value counts from the library's next look-up on.
class ProfileOverlay {
 public:
  /// Takes `base` over; null is an empty profile.
  explicit ProfileOverlay(profile_t base) noexcept : base_(base) {}
  ProfileOverlay(const ProfileOverlay&) = delete;
  ProfileOverlay& operator=(const ProfileOverlay&) = delete;
  ~ProfileOverlay();

  /// Sets the value of `path`, sections and name joined by "/". A section "*" stands for any name:
  /// "realms/*/kdc".
  void set(const std::string& path, std::string value);
  /// Makes `path` have no value, whatever the base says.
  void hide(const std::string& path);

  /// A handle for krb5_init_context_profile, which copies it; the caller releases it with
  /// profile_release. Throws KerberosException.
  [[nodiscard]] profile_t open();

 private:
  friend struct ProfileOverlayCalls;
  std::map<std::string, std::optional<std::string>> values_;  // without a value: hidden
  profile_t base_;
};

/// What GSS-API reads: it makes Kerberos contexts of its own from KRB5_CONFIG, so that settings for
/// them must come as a file, which exists in memory only. While this lives, GSS-API's contexts take
/// the server's name as it stands (no canonical name from DNS), put `host` into `realm`, and search
/// no KDC by DNS; all else still comes from the former KRB5_CONFIG or /etc/krb5.conf. The
/// environment is put back at the end of the scope, so that no child sees the change. One thread
/// only, but for the second form.
class GssConfigOverlay {
 public:
  /// Throws IOException when the memory file cannot be made.
  GssConfigOverlay(const std::string& realm, const std::string& host);
  /// The same for the hosts of all `domains` (DNS names): each is in the realm of its domain. While
  /// this lives, overlays of the first form change nothing, on any thread; so threads that bind to
  /// these domains run between its beginning and its end.
  explicit GssConfigOverlay(const std::list<std::string>& domains);
  GssConfigOverlay(const GssConfigOverlay&) = delete;
  GssConfigOverlay& operator=(const GssConfigOverlay&) = delete;
  ~GssConfigOverlay();

 private:
  bool forAllThreads_ = false;
  std::optional<ScopedVariable> variable_;
};

}  // namespace tolk
