// What GSS-API reads: it makes Kerberos contexts of its own from KRB5_CONFIG, so that settings for
// them must come as a file. This one exists in memory only.
#pragma once

#include <list>
#include <optional>
#include <string>

#include "tolk/krb5/scoped_variable.h"

namespace tolk {

/// While it lives, GSS-API's contexts take the server's name as it stands (no canonical name from
/// DNS), put `host` into `realm`, and search no KDC by DNS; all else still comes from the former
/// KRB5_CONFIG or /etc/krb5.conf. The environment is put back at the end of the scope, so that no
/// child sees the change. One thread only, but for the second form.
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
