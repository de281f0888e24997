// The poll loop that serves all callers. It never waits for one of them, and what one of them sends
// costs at most its own connection.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "tolk/base/handle.h"
#include "velkd/connection.h"
#include "velkd/mailbox.h"

namespace velkd {

/// A call as it came in.
struct Request {
  ConnectionId connection = 0;
  Caller caller;
  std::string text;
};

/// What becomes of a call: the text of its answer ("" when the caller wants none), or nothing when
/// the answer will come through the mailbox. Throws what ends the connection,
/// tolk::BadDataException for a text that is no call.
using Handler = std::function<std::optional<std::string>(const Request&)>;

/// What all callers together may cost.
struct ServerLimits {
  std::size_t connections = 1024;
  std::size_t connectionsOfUser = 768;  ///< of one user other than root: the others still get in
  std::size_t rootMessageBytes = tolk::kMaxMessageBytes;
  std::size_t userMessageBytes = std::size_t{64} << 10U;
  std::chrono::milliseconds idle{60000};
  std::chrono::milliseconds transfer{10000};
};

class Server {
 public:
  /// `listener` is a listening, non-blocking stream socket.
  Server(tolk::UniqueFd listener, Handler handler, Mailbox& mailbox, const ServerLimits& limits);

  /// Serves until `onControl`, called whenever `controlFd` is readable, returns false.
  void run(int controlFd, const std::function<bool()>& onControl);

  /// Limits for what comes from now on.
  void setLimits(const ServerLimits& limits) { limits_ = limits; }
  [[nodiscard]] std::size_t connections() const noexcept { return connections_.size(); }

 private:
  using Connections = std::map<ConnectionId, Connection>;

  [[nodiscard]] int pollTimeout() const;
  [[nodiscard]] bool accepting() const;
  void acceptSome();
  void admit(tolk::UniqueFd socket);
  void serve(Connections::iterator at, short events);
  void deliverLetters();
  void dropSlow();
  // Answers calls as long as there are whole ones; false when the connection is to end.
  bool answerCalls(ConnectionId id, Connection& connection);
  bool exchange(ConnectionId id, Connection& connection, short events);

  tolk::UniqueFd listener_;
  Handler handler_;
  Mailbox& mailbox_;
  ServerLimits limits_;
  Connections connections_;
  std::map<uid_t, std::size_t> connectionsOf_;
  ConnectionId lastId_ = 0;
  Clock::time_point acceptAgain_{};  // after running out of descriptors
};

}  // namespace velkd
