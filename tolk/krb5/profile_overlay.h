// Values laid over a Kerberos profile in memory: no file is written, none needs to exist.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "tolk/krb5/krb5_library.h"

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

}  // namespace tolk
