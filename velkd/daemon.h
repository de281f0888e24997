// The daemon from start to end.
#pragma once

namespace velkd {

/// Takes the lock, opens the socket, says that it is ready and serves until SIGTERM or SIGINT.
/// SIGHUP rereads the configuration and reopens the log. Returns the exit status. Throws
/// tolk::IOException when it cannot start.
int runDaemon();

}  // namespace velkd
