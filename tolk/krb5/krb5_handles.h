// Ownership of the Kerberos library's objects: each is freed once, with the context it was made
// with.
#pragma once

#include <cassert>
#include <utility>

#include "tolk/krb5/krb5_library.h"

namespace tolk {

/// A krb5 object whose release also needs its context, which must outlive it. Null frees nothing.
template <typename T, auto Release>
class Krb5Owned {
 public:
  explicit Krb5Owned(krb5_context context, T value = nullptr) noexcept
      : context_(context), value_(value) {}
  Krb5Owned(Krb5Owned&& from) noexcept
      : context_(from.context_), value_(std::exchange(from.value_, nullptr)) {}
  Krb5Owned& operator=(Krb5Owned&& from) noexcept {
    std::swap(context_, from.context_);
    std::swap(value_, from.value_);
    return *this;
  }
  Krb5Owned(const Krb5Owned&) = delete;
  Krb5Owned& operator=(const Krb5Owned&) = delete;
  ~Krb5Owned() {
    if (value_ != nullptr) Release(context_, value_);
  }

  [[nodiscard]] T get() const noexcept { return value_; }
  [[nodiscard]] T release() noexcept { return std::exchange(value_, nullptr); }
  /// For an out parameter of the library.
  T* out() noexcept {
    assert(value_ == nullptr);
    return &value_;
  }

 private:
  krb5_context context_;
  T value_;
};

using Krb5Principal = Krb5Owned<krb5_principal, krb5_free_principal>;
using Krb5Keytab = Krb5Owned<krb5_keytab, krb5_kt_close>;
using Krb5Creds = Krb5Owned<krb5_creds*, krb5_free_creds>;
using Krb5InitOptions = Krb5Owned<krb5_get_init_creds_opt*, krb5_get_init_creds_opt_free>;
/// Closed at scope exit; the cache itself stays.
using Krb5OpenCache = Krb5Owned<krb5_ccache, krb5_cc_close>;
/// Destroyed with its contents at scope exit.
using Krb5OwnCache = Krb5Owned<krb5_ccache, krb5_cc_destroy>;

/// A krb5_creds by value, as initial credentials are returned: its contents are freed, keys wiped,
/// at scope exit.
class Krb5CredsContents {
 public:
  explicit Krb5CredsContents(krb5_context context) noexcept : context_(context) {}
  Krb5CredsContents(const Krb5CredsContents&) = delete;
  Krb5CredsContents& operator=(const Krb5CredsContents&) = delete;
  ~Krb5CredsContents() { krb5_free_cred_contents(context_, &value_); }

  [[nodiscard]] krb5_creds* get() noexcept { return &value_; }

 private:
  krb5_context context_;
  krb5_creds value_{};
};

}  // namespace tolk
