// Names of credential caches: the run's own ones in memory, and the one that the user already has.
#pragma once

#include <sys/types.h>

#include <string>

#include "tolk/krb5/krb5_library.h"

namespace tolk {

/// "MEMORY:..." with a name that no other pointer of this process gives.
std::string UniqueMemCacheName(const void* owner);

/// Finds the credential cache that a user has from a login or from kinit(1).
class Krb5CredentialsCache {
 public:
  static Krb5CredentialsCache& GetCCache();

  /// The name of the first cache of `uid` that holds a ticket granting ticket of the client's own
  /// realm, with `unexpired` one that is still valid: of KRB5CCNAME when that is set, else of the
  /// configured default, then FILE:/tmp/krb5cc_UID. Files and directories of another owner,
  /// symbolic links and what is no regular file are passed over. "" when there is none or something
  /// fails. Never asks the network, never touches a malformed configuration file.
  std::string findUserCCache(uid_t uid, bool unexpired);
};

}  // namespace tolk
