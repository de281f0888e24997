// Credential resolution.
#include "cli/credential_resolution.h"

#include <sys/types.h>
#include <unistd.h>

#include <string>

#include "cli/common/user_credentials.h"
#include "cli/options.h"
#include "tolk/base/logger.h"
#include "tolk/base/terminal.h"
#include "tolk/krb5/credential_cache.h"

namespace joinscope {
namespace {

void useOwnCache(UserCredentials& credentials, Options& options) {
  const uid_t uid = ::getuid();
  // Root's tickets are shown and never used; without --verbose there is nothing to look for.
  if (uid == 0 && !options.verbose) return;
  credentials.ccacheName = tolk::Krb5CredentialsCache::GetCCache().findUserCCache(uid, true);
  if (credentials.ccacheName.empty() || uid == 0) return;
  options.credentials = &credentials;
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
      .log(tolk::LogLevel::debug, "Use " + credentials.ccacheName + " to bind to domain.");
}

}  // namespace

void resolveCredentials(UserCredentials& credentials, Options& options) {
  if (credentials.user == nullptr && !credentials.passwordGiven) {
    useOwnCache(credentials, options);
    return;
  }
  if (!credentials.passwordGiven) {
    credentials.password = tolk::promptPassword("Active Directory password: ");
    credentials.passwordGiven = true;
  }
  if (credentials.user == nullptr) credentials.user = "administrator";
  options.credentials = &credentials;
}

}  // namespace joinscope
