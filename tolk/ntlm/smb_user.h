// A user's session with an SMB 2 or 3 server, logged on with bare NTLM messages (MS-SMB2 3.2.4.2).
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tolk/base/handle.h"
#include "tolk/net/event_loop.h"
#include "tolk/ntlm/secret.h"
#include "tolk/ntlm/smb_signing.h"

namespace tolk {

/// A connected, non-blocking socket and the state of the conversation on it.
struct SmbStream {
  UniqueFd socket{};
  std::string received{};         ///< what has come beyond the last answer
  std::uint64_t nextMessage = 0;  ///< number of the next request
  std::uint64_t credits = 1;      ///< requests that the server takes (MS-SMB2 3.2.4.1.2)
};

/// Sends `request` (without frame, numbered stream.nextMessage) and waits for its answer. Interim
/// answers (STATUS_PENDING) and the server's own notices are passed over. Fails with
/// TimeoutException, IOException (errno; ECONNRESET when the server hangs up), or BadDataException
/// when what comes is not SMB 2 or over 128 KiB, and at once when the server has granted no further
/// request. The stream must outlive the wait.
Pending<std::string> startSmbExchange(EventLoop& loop, SmbStream& stream,
                                      const std::string& request, std::chrono::milliseconds limit);

/// One connection and one session. Nothing is asked of the server but to check the logon: no share
/// is opened. Every failure to talk is a TOLKException that names server and step. The connection
/// may take net.connect.timeout, each request smb.session.timeout.
class SmbUser {
 public:
  SmbUser() = default;
  SmbUser(const SmbUser&) = delete;
  SmbUser& operator=(const SmbUser&) = delete;
  ~SmbUser() { disconnect(); }

  /// Connects to the first of the addresses that accepts and negotiates the dialect. `server` is
  /// the name for messages.
  void connect(const std::string& server, const std::vector<sockaddr_in>& addresses);

  /// Sends the first security message and returns the server's.
  std::string startSession(const std::string& token);

  /// Sends the second one. Returns 0 when the server has logged the user on, else the NT status
  /// with which it refuses; `out` becomes what it sent along with a success, usually nothing. A
  /// session as guest or anonymous is a failure: the password was not checked. A success is the
  /// server's word until requireSignature() has held.
  int finishSession(const std::string& token, std::string& out);

  /// Fails unless the answer that accepted the user is signed with `sessionKey`
  /// (NtlmSSP::sessionKey()): whoever signs knows the user's key, or has it from a controller.
  void requireSignature(const NtlmKey& sessionKey) const;

  /// Closes the connection, and with it the session (MS-SMB2 3.3.7.1).
  void disconnect() noexcept;

  [[nodiscard]] const std::string& server() const noexcept { return server_; }

 private:
  struct Answer;
  Answer exchange(const char* step, std::uint16_t command, const std::string& request);

  std::string server_;
  SmbStream stream_;
  std::uint16_t dialect_ = 0;
  std::uint64_t sessionId_ = 0;
  SmbMessageChain chain_;  // up to the last request
  std::string accepted_;   // the answer that logged the user on
};

}  // namespace tolk
