// A client's session with the agent daemon over its local socket.
#pragma once

#include <boost/shared_ptr.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tolk/base/json.h"
#include "tolk/base/shredder.h"
#include "tolk/ldap/ad_object.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/mfa_step.h"
#include "tolk/rpc/varlink_wire.h"

namespace tolk {

/// One connection, closed with the object. Each call waits at most PN::VELKD_RPC_TIMEOUT, and not
/// at all when this process has waited for the same one in vain before: it fails as it did then. A
/// call that fails throws IPCException with a code of IpcError; after any but kErrorAnswer and
/// kStillGathering the session is of no more use and later calls throw at once. Not for use from
/// several threads.
class LocalRpcSession {
 public:
  /// Connects to the socket "velkd.sock" in `directory`. With `waitForDaemon` a daemon that is just
  /// starting is tried again until the limit has passed, else the first refusal counts; with
  /// `authenticate` the session starts with authenticateProcess(). Throws IOException with errno
  /// when the daemon cannot be reached (no socket, nobody listening, no permission, too many
  /// waiting), and IPCException kForeignDaemon when the process behind the socket is neither root's
  /// nor this user's.
  explicit LocalRpcSession(const std::string& directory = kDaemonDirectory,
                           bool waitForDaemon = false, bool authenticate = false);

  /// Has the daemon identify this process by the credentials that the kernel keeps for the socket
  /// (unix(7), SO_PEERCRED).
  void authenticateProcess();

  /// Reads one directory object through the daemon: its cache, or with `fresh`, or while
  /// NoCacheMode is active, the directory.
  /// `server` "" leaves the choice of the controller to the daemon; no `attributes` means all.
  /// Empty when the object does not exist; what the daemon knows about that is a trouble
  /// (tolk/base/troubles.h).
  boost::shared_ptr<ADObject> ldapFetch(const std::string& server, const std::string& dn,
                                        const std::vector<std::string>& attributes, bool fresh);

  /// Host name of the controller that the daemon works with, "" when it has none.
  std::string getCurrentDC();

  /// The daemon's release, "5.7.0-207".
  std::string getVersion();

  /// The daemon's dump of the modules whose bits are set.
  std::string getSystemInfo(std::uint32_t modules);

  /// Which cloud platform this host uses: fills `text` with its address and web proxy, and returns
  /// 0 (none is configured), 1 (connected), 2 (connected through a web proxy) or 3 (not connected).
  int getORBInfo(std::string& text);

  /// Begins the multi-factor authentication of `user` for `program`, and for `command` when that is
  /// not "". Waits for several transfers of the daemon, each within PN::CLOUD_CURL_TIMEOUT.
  MfaStep startMfa(const std::string& user, const std::string& program, const std::string& command);
  /// Goes on with a choice of the last step; `action` is "Answer" (with `answer`), "StartOOB" or
  /// "Poll".
  MfaStep advanceMfa(const std::string& session, const std::string& choice,
                     const std::string& action, const Shredder& answer);

  /// Gives an authentication up that is not over.
  void endMfa(const std::string& session);

  /// The ranges of numeric identifiers that the forest's domains have, each with the domain's name
  /// in upper case in front, in the daemon's order. IPCException kStillGathering while the daemon
  /// does not know them yet.
  std::vector<std::pair<std::string, std::string>> getDomainIdentifiers();

  /// What the daemon said when it last answered with an error, for people; "" when nothing.
  [[nodiscard]] const std::string& refusal() const noexcept { return refusal_; }

 private:
  // Sends a call and hands the parameters of its answer to `take`.
  void call(std::string_view method, const json::Value& parameters,
            const std::function<void(const json::Value&)>& take);
  void callWithin(std::chrono::milliseconds limit, std::string_view method,
                  const json::Value& parameters,
                  const std::function<void(const json::Value&)>& take);

  MfaStep mfaCall(std::string_view method, const json::Value& parameters);

  std::string path_;  // of the socket
  std::chrono::milliseconds limit_;
  std::string refusal_;
  std::unique_ptr<VarlinkStream> stream_;  // null after a failure
};

}  // namespace tolk
