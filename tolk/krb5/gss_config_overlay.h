// What GSS-API reads: it makes Kerberos contexts of its own from KRB5_CONFIG, so that settings for
// them must come as a file. This one exists in memory only.
#pragma once

#include <optional>
#include <string>

namespace tolk {

/// While it lives, GSS-API's contexts take the server's name as it stands (no canonical name from
/// DNS), put `host` into `realm`, and search no KDC by DNS; all else still comes from the former
/// KRB5_CONFIG or /etc/krb5.conf. The environment is put back at the end of the scope, so that no
/// child sees the change. KRB5_CONFIG belongs to the whole process: one overlay at a time, in a
/// program with one thread or under a lock.
class GssConfigOverlay {
 public:
  /// Throws IOException when the memory file cannot be made.
  GssConfigOverlay(const std::string& realm, const std::string& host);
  GssConfigOverlay(const GssConfigOverlay&) = delete;
  GssConfigOverlay& operator=(const GssConfigOverlay&) = delete;
  ~GssConfigOverlay();

 private:
  std::optional<std::string> former_;  // KRB5_CONFIG before, empty when it was not set
};

}  // namespace tolk
