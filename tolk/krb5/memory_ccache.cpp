// Credential caches in memory.
#include "tolk/krb5/memory_ccache.h"

#include <cstdint>

#include "tolk/krb5/krb5_error.h"

namespace tolk {

MemoryCCache::MemoryCCache(krb5_context context, krb5_principal client)
    : context_(context), cache_(context) {
  const std::string what = "making a memory cache";
  throwIfKrb5(context, krb5_cc_new_unique(context, "MEMORY", nullptr, cache_.out()), what);
  throwIfKrb5(context, krb5_cc_initialize(context, cache_.get(), client), what);
  char* name = nullptr;
  throwIfKrb5(context, krb5_cc_get_full_name(context, cache_.get(), &name), what);
  name_ = name;
  krb5_free_string(context, name);
}

void MemoryCCache::copyFrom(krb5_ccache from) {
  throwIfKrb5(context_, krb5_cc_copy_creds(context_, from, cache_.get()), "krb5_cc_copy_creds");
}

krb5_error_code MemoryCCache::destroy() noexcept {
  return krb5_cc_destroy(context_, cache_.release());
}

KerberosCCacheCursor::KerberosCCacheCursor(krb5_context context, krb5_ccache cache)
    : context_(context), cache_(cache) {
  throwIfKrb5(context, krb5_cc_start_seq_get(context, cache, &cursor_), "krb5_cc_start_seq_get");
}

KerberosCCacheCursor::~KerberosCCacheCursor() {
  krb5_free_cred_contents(context_, &current_);
  (void)krb5_cc_end_seq_get(context_, cache_, &cursor_);
}

const krb5_creds* KerberosCCacheCursor::next() {
  for (;;) {
    krb5_free_cred_contents(context_, &current_);
    current_ = {};
    const krb5_error_code code = krb5_cc_next_cred(context_, cache_, &cursor_, &current_);
    if (code == KRB5_CC_END) return nullptr;
    throwIfKrb5(context_, code, "krb5_cc_next_cred");
    if (krb5_is_config_principal(context_, current_.server) == 0) return &current_;
  }
}

std::time_t endTime(const krb5_creds& ticket) noexcept {
  return static_cast<std::uint32_t>(ticket.times.endtime);
}

}  // namespace tolk
