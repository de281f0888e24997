// What a bound connection to the directory is asked: the computer's object, the domain's rules, who
// claims the host's names, the site, trusts, the user, the rights to join.
#pragma once

#include <string>

#include "facts/facts.h"
#include "facts/gathering.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope::facts {

/// Whether somebody need not wait for it any more.
bool decided(const Asked& asked);

/// One subject's arguments.
struct Asking {
  const Question& question;
  const Facts& local;
  const Publish& publish;
};

/// Whose tickets a bind uses.
struct BindAs {
  std::string cacheName;
  std::string name;
};

/// Binds, signed and sealed, publishes how that ended, and where it succeeds reads the directory.
void bindAndRead(tolk::KerberosContext& kerberos, const BindAs& as, const Asking& asking);

/// Reads all of it and publishes it part by part. Throws nothing of the tolk family: each fact says
/// how its question ended.
void readDirectory(tolk::ADBinding& binding, const Question& question, const Facts& local,
                   const Publish& publish);

/// The name of the computer account that this host has, or would take in a join: without "$".
std::string computerName(const Facts& local);

}  // namespace joinscope::facts
