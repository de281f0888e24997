// The user for the web proxy of the cloud transfers, as the administrator stores and removes it.
#pragma once

#include <string>

namespace velkd {

/// Asks for the password of `user` (the terminal without echo; a line of standard input when that
/// is no terminal; nothing for the computer account), stores both and has a running daemon read
/// them. Returns the exit status; what is wrong is told on standard error. Throws IOException when
/// the file cannot be written.
int setProxyCredential(const std::string& user);

/// Removes what is stored, and tells a running daemon.
int clearProxyCredential();

}  // namespace velkd
