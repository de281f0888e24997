// The bottom of the LDAP library's stream: our own socket calls. For tolk/ldap only.
#pragma once

#include <lber.h>

namespace tolk {

/// Reads and writes a connected socket. Other than the library's own, a write to a connection that
/// the server has closed is an error and no SIGPIPE, which would end the process.
Sockbuf_IO* socketCalls() noexcept;

}  // namespace tolk
