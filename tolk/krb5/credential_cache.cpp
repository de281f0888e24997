// KRB5CCNAME's collection first, then the configured one; of each the first cache that is the
// user's own and holds a ticket granting ticket.
#include "tolk/krb5/credential_cache.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string_view>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/scoped_variable.h"

namespace tolk {
namespace {

using OwnedContext =
    std::unique_ptr<std::remove_pointer_t<krb5_context>, Releaser<krb5_free_context>>;
using CollectionCursor =
    Krb5Owned<krb5_cccol_cursor, [](krb5_context context, krb5_cccol_cursor cursor) {
      krb5_cccol_cursor_free(context, &cursor);
    }>;

/// Bounds of a search through other people's data.
constexpr int kMaxCaches = 256;
constexpr int kMaxTickets = 4096;

/// A context for looking at caches; a malformed configuration counts as an empty one and stays
/// where it is.
OwnedContext quietContext() {
  krb5_context context = nullptr;
  if (krb5_init_context(&context) == 0) return OwnedContext(context);
  profile_t empty = nullptr;
  throwIfKrb5(nullptr, static_cast<krb5_error_code>(profile_init(nullptr, &empty)),
              "making an empty profile");
  const krb5_error_code code = krb5_init_context_profile(empty, 0, &context);
  profile_release(empty);
  throwIfKrb5(nullptr, code, "init context");
  return OwnedContext(context);
}

struct CacheName {
  std::string_view type, residual;
};

CacheName partsOf(std::string_view name) {
  const std::size_t colon = name.find(':');
  if (colon == std::string_view::npos || name.starts_with('/')) return {"FILE", name};
  return {name.substr(0, colon), name.substr(colon + 1)};
}

bool belongsTo(const std::string& path, uid_t uid, mode_t kind) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == kind &&
         status.st_uid == uid;
}

/// Whether the cache is the user's own to look at. The kernel guards keyrings and the cache
/// daemon's socket itself.
bool mayRead(const std::string& name, uid_t uid) {
  const CacheName parts = partsOf(name);
  std::string path(parts.residual);
  if (parts.type == "FILE") return belongsTo(path, uid, S_IFREG);
  if (parts.type != "DIR") return parts.type == "KEYRING" || parts.type == "KCM";
  if (!path.starts_with(':')) return belongsTo(path, uid, S_IFDIR);
  path.erase(0, 1);  // "DIR::/path/file" is one cache of the directory
  return belongsTo(path, uid, S_IFREG);
}

std::string_view textOf(const krb5_data& data) {
  return {data.data, data.length};
}

bool isTicketGranting(const krb5_creds& ticket, krb5_const_principal client) {
  const krb5_const_principal server = ticket.server;
  return server->length == 2 && textOf(server->data[0]) == KRB5_TGS_NAME &&
         textOf(server->data[1]) == textOf(client->realm) &&
         textOf(server->realm) == textOf(client->realm);
}

bool isUnexpired(const krb5_creds& ticket) {
  // The library's 32-bit times are unsigned in truth: they reach to 2106.
  return std::int64_t{static_cast<std::uint32_t>(ticket.times.endtime)} > std::time(nullptr);
}

bool holdsTicket(krb5_context context, krb5_ccache cache, bool unexpired) {
  Krb5Principal client(context);
  if (krb5_cc_get_principal(context, cache, client.out()) != 0) return false;
  krb5_cc_cursor cursor = nullptr;
  if (krb5_cc_start_seq_get(context, cache, &cursor) != 0) return false;
  bool found = false;
  for (int i = 0; i < kMaxTickets && !found; ++i) {
    Krb5CredsContents ticket(context);
    if (krb5_cc_next_cred(context, cache, &cursor, ticket.get()) != 0) break;
    found =
        isTicketGranting(*ticket.get(), client.get()) && (!unexpired || isUnexpired(*ticket.get()));
  }
  krb5_cc_end_seq_get(context, cache, &cursor);
  return found;
}

std::string fullName(krb5_context context, krb5_ccache cache) {
  char* text = nullptr;
  throwIfKrb5(context, krb5_cc_get_full_name(context, cache, &text), "naming a cache");
  std::string name = text;
  krb5_free_string(context, text);
  return name;
}

/// The first usable cache of the collection that `name` stands for; a cache in a file is a
/// collection of one.
std::string searchCollection(krb5_context context, const std::string& name, uid_t uid,
                             bool unexpired) {
  throwIfKrb5(context, krb5_cc_set_default_name(context, name.c_str()), name);
  CollectionCursor cursor(context);
  throwIfKrb5(context, krb5_cccol_cursor_new(context, cursor.out()), name);
  for (int i = 0; i < kMaxCaches; ++i) {
    Krb5OpenCache cache(context);
    if (krb5_cccol_cursor_next(context, cursor.get(), cache.out()) != 0 || cache.get() == nullptr)
      break;
    std::string found = fullName(context, cache.get());
    // The library lists the memory caches of this process too.
    if (partsOf(found).type == partsOf(name).type && mayRead(found, uid) &&
        holdsTicket(context, cache.get(), unexpired))
      return found;
  }
  return {};
}

/// The cache name that the configuration gives, KRB5CCNAME left aside.
std::string configuredName(krb5_context context) {
  const ScopedVariable unset("KRB5CCNAME", std::nullopt);
  throwIfKrb5(context, krb5_cc_set_default_name(context, nullptr), "default cache");
  const char* name = krb5_cc_default_name(context);
  return name == nullptr ? "" : name;
}

std::string searchAll(uid_t uid, bool unexpired) {
  const OwnedContext context = quietContext();
  const char* variable = std::getenv("KRB5CCNAME");
  if (variable != nullptr && mayRead(variable, uid))
    return searchCollection(context.get(), variable, uid, unexpired);
  for (const std::string& name :
       {configuredName(context.get()), "FILE:/tmp/krb5cc_" + std::to_string(uid)}) {
    if (!mayRead(name, uid)) continue;
    std::string found = searchCollection(context.get(), name, uid, unexpired);
    if (!found.empty()) return found;
  }
  return {};
}

}  // namespace

std::string UniqueMemCacheName(const void* owner) {
  char digits[2 + 2 * sizeof(void*) + 1];
  std::snprintf(digits, sizeof digits, "%" PRIxPTR, reinterpret_cast<std::uintptr_t>(owner));
  return std::string("MEMORY:joinscope_") + digits;
}

Krb5CredentialsCache& Krb5CredentialsCache::GetCCache() {
  static Krb5CredentialsCache instance;
  return instance;
}

std::string Krb5CredentialsCache::findUserCCache(uid_t uid, bool unexpired) {
  try {
    return searchAll(uid, unexpired);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace tolk
