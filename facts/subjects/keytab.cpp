// One pass over the keytab; what was read before a damaged place counts.
#include "facts/subjects/keytab.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "tolk/base/exceptions.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/keytab.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/plain_context.h"

namespace joinscope::facts {
namespace {

Key keyOf(const tolk::KeytabKey& key) {
  return {.principal = key.principal,
          .realm = key.realm,
          .version = key.version,
          .encryption = key.encryption,
          .encryptionName = key.encryptionText(),
          .written = key.written};
}

void readKeys(Keytab& keytab) {
  const tolk::PlainKerberosContext context({"/dev/null"});  // needs no configuration
  tolk::KeytabScan scan(context.get(), keytab.path);
  tolk::KeytabKey key;
  while (scan.next(key)) {
    keytab.keys.push_back(keyOf(key));
    if (keytab.account.empty() && key.name.ends_with('$'))
      keytab.account = key.name + "@" + key.realm;
  }
}

}  // namespace

Keytab readKeytab() {
  Keytab keytab{.path = tolk::keytabPath()};
  struct stat state {};
  if (::stat(keytab.path.c_str(), &state) != 0) {
    keytab.read = {.outcome = Outcome::failed, .reason = std::strerror(errno), .code = errno};
    return keytab;
  }
  keytab.owner = state.st_uid;
  constexpr unsigned kPermissions = 07777;
  keytab.mode = state.st_mode & kPermissions;
  keytab.read = ask([&keytab] { readKeys(keytab); });
  keytab.damaged = !keytab.read.answered() && keytab.read.code != EACCES;
  return keytab;
}

}  // namespace joinscope::facts
