// The Kerberos context of a run and the credential cache that goes with it.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <type_traits>

#include "tolk/base/handle.h"
#include "tolk/krb5/krb5_library.h"

namespace tolk {

class ProfileOverlay;

/// A krb5 context with the agent's settings. The host's configuration file (krb5ConfPath()),
/// if it is malformed itself, is moved aside, with ".bad" appended to its name, and the context
/// made without it; a malformed file beside it, or one that it includes, stays and is named among
/// the troubles of the run.
class KerberosContext {
 public:
  /// Throws KerberosException "init context: text" with the library's code, KRB5_CONFIG_BADFORMAT
  /// when a configuration file is malformed and was not moved.
  KerberosContext();
  KerberosContext(const KerberosContext&) = delete;
  KerberosContext& operator=(const KerberosContext&) = delete;
  /// Frees the context, then the mutex.
  ~KerberosContext();

  [[nodiscard]] krb5_context get() const noexcept { return context_.get(); }
  /// A krb5 context may be used by one thread at a time; hold this where several could.
  [[nodiscard]] std::mutex& mutex() const noexcept { return mutex_; }

  /// The values laid over the profile of a context that this class made; null for any other
  /// context.
  [[nodiscard]] static ProfileOverlay* overlayOf(krb5_context context) noexcept;

 private:
  void profileUpdate();

  mutable std::mutex mutex_;
  std::unique_ptr<ProfileOverlay> overlay_;  // context_ keeps a pointer to it
  std::unique_ptr<std::remove_pointer_t<krb5_context>, Releaser<krb5_free_context>> context_;
};

/// A credential cache handle with what is to become of it.
struct KerberosCCache {
  KerberosCCache() = default;
  explicit KerberosCCache(krb5_context owner) noexcept : context(owner) {}
  KerberosCCache(const KerberosCCache&) = delete;
  KerberosCCache& operator=(const KerberosCCache&) = delete;
  /// With a handle: closes it if `closeOnRelease` is set, or else destroys the cache if
  /// `destroyOnRelease` is.
  ~KerberosCCache();

  krb5_ccache handle = nullptr;
  bool closeOnRelease = false;
  bool destroyOnRelease = false;
  krb5_context context = nullptr;
};

}  // namespace tolk

/// Writes one line of the library's trace, without secrets (traceWithoutSecrets), to the logger
/// "base.kerberos.wrap" at debug level (krb5_set_trace_callback).
void orv_krb5_trace_cb(krb5_context context, const krb5_trace_info* info, void* data) noexcept;
