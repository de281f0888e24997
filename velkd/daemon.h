// The daemon from start to end.
#pragma once

namespace velkd {

/// Held by the one daemon of this host while it runs.
inline constexpr const char* kDaemonLockFile = "/var/run/velkd.lock";

/// Takes the lock, opens the socket, says that it is ready and serves until SIGTERM or SIGINT.
/// SIGHUP rereads the configuration and reopens the log. Returns the exit status. Throws
/// tolk::IOException when it cannot start.
int runDaemon();

}  // namespace velkd
