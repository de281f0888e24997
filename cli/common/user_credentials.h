// Whom the run acts for in the directory, as the command line says.
#pragma once

#include <string>

#include "tolk/base/shredder.h"

namespace joinscope {

/// A user with a password, or a user's own Kerberos credential cache.
struct UserCredentials {
  const char* user =
      nullptr;  ///< points into the argument vector; null when the command line names nobody
  bool passwordGiven = false;  ///< by option or at the prompt; it may be empty all the same
  tolk::Shredder password;     ///< wiped by the binding once it has its ticket
  std::string ccacheName;  ///< the real user's own cache, "" when there is none or a user is named
  bool interactive = false;  ///< a password may be asked for when a ticket was revoked
};

}  // namespace joinscope
