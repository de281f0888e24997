// velkd mfa: a multi-factor authentication by hand.
#pragma once

#include <string>

namespace velkd {

/// Authenticates `user` by the way of the daemon: shows the choices, asks, and says how it went.
/// Passwords are asked for without echo. Returns the exit status. Throws IOException when the
/// daemon cannot be reached, IPCException when it says no.
int authenticateUser(const std::string& user, const std::string& command);

}  // namespace velkd
