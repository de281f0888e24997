// Has the running daemon read its configuration again.
#include "velkd/reload.h"

#include <csignal>

#include "tolk/base/lock_file.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/local_rpc_session.h"
#include "velkd/daemon.h"

namespace velkd {

bool reloadDaemon() {
  pid_t holder = 0;
  OrvUnlock(OrvLock(kDaemonLockFile, &holder));
  if (holder <= 0 || ::kill(holder, SIGHUP) != 0) return false;
  // It looks after signals before it looks after callers.
  tolk::LocalRpcSession(tolk::kDaemonDirectory, false, false).authenticateProcess();
  return true;
}

}  // namespace velkd
