// Has the running daemon read its configuration again.
#pragma once

namespace velkd {

/// Tells the daemon and waits until it has done so, at most PN::VELKD_RPC_TIMEOUT. False when none
/// runs. Throws IPCException or IOException when it does not answer.
bool reloadDaemon();

}  // namespace velkd
