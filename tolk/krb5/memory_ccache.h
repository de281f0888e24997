// Credential caches that exist in memory only, and the way through a cache's tickets.
#pragma once

#include <ctime>
#include <string>

#include "tolk/krb5/krb5_handles.h"

namespace tolk {

/// A new credential cache of this process, which every thread can use by its name; destroyed with
/// this object. `context` must outlive it.
class MemoryCCache {
 public:
  /// An empty cache for `client`. Throws KerberosException.
  MemoryCCache(krb5_context context, krb5_principal client);

  /// As krb5_cc_resolve takes it.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] krb5_ccache handle() const noexcept { return cache_.get(); }
  /// Adds all credentials of `from`. Throws KerberosException from "krb5_cc_copy_creds".
  void copyFrom(krb5_ccache from);
  /// Ends the cache now; it is of no more use. Returns the library's code.
  krb5_error_code destroy() noexcept;

 private:
  krb5_context context_;
  Krb5OwnCache cache_;
  std::string name_;
};

/// Walks through the tickets of a cache; what the library keeps there as settings is passed over.
class KerberosCCacheCursor {
 public:
  /// Throws KerberosException, as next() does.
  KerberosCCacheCursor(krb5_context context, krb5_ccache cache);
  KerberosCCacheCursor(const KerberosCCacheCursor&) = delete;
  KerberosCCacheCursor& operator=(const KerberosCCacheCursor&) = delete;
  ~KerberosCCacheCursor();

  /// The next ticket, valid until the following call; null at the end.
  [[nodiscard]] const krb5_creds* next();

 private:
  krb5_context context_;
  krb5_ccache cache_;
  krb5_cc_cursor cursor_ = nullptr;
  krb5_creds current_{};
};

/// When a ticket ends: the library's 32 bits wrap in 2038 and go on, unsigned, to 2106.
[[nodiscard]] std::time_t endTime(const krb5_creds& ticket) noexcept;

}  // namespace tolk
