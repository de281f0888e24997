// The bottom of the LDAP library's stream: our own socket calls. For tolk/ldap only.
#pragma once

#include <lber.h>

namespace tolk {

/// Reads and writes a connected socket. Their argument is a std::size_t that outlives the stream:
/// the bytes that may still be read, counted down; at 0 a read fails (EMSGSIZE). Other than the
/// library's own, a write to a connection that the server has closed is an error and no SIGPIPE,
/// which would end the process.
Sockbuf_IO* socketCalls() noexcept;

}  // namespace tolk
