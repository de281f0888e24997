// The poll loop that serves all callers. It never waits for one of them, and what one of them sends
// costs at most its own connection.
#pragma once

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tolk/base/handle.h"
#include "velkd/connection.h"
#include "velkd/mailbox.h"
#include "velkd/places.h"

namespace velkd {

/// A call as it came in.
struct Request {
  ConnectionId connection = 0;
  std::uint64_t call = 0;  ///< its number on that connection
  Caller caller;
  std::string text;
};

/// What becomes of a call.
struct Outcome {
  /// NOLINTNEXTLINE(google-explicit-constructor): an answer is an outcome
  Outcome(std::string text) : answer(std::move(text)) {}
  /// The answer will come through the mailbox.
  explicit Outcome(Patience until) : patience(std::move(until)) {}

  std::optional<std::string> answer;  ///< "" when the caller wants none
  Patience patience;
};

/// Throws what ends the connection, tolk::BadDataException for a text that is no call.
using Handler = std::function<Outcome(const Request&)>;

/// A descriptor that the server looks after besides its callers.
struct Watched {
  int fd = -1;
  std::function<bool()> onReadable;  ///< false ends run()
};

/// What all callers together may cost.
struct ServerLimits {
  std::size_t connections = 1536;  ///< of all users, shared as Places says
  std::size_t keptForRoot = 64;
  std::size_t rootMessageBytes = tolk::kMaxMessageBytes;
  std::size_t userMessageBytes = std::size_t{64} << 10U;
  std::chrono::milliseconds idle{60000};
  std::chrono::milliseconds transfer{10000};
};

class Server {
 public:
  /// `listener` is a listening, non-blocking stream socket.
  Server(tolk::UniqueFd listener, Handler handler, Mailbox& mailbox, const ServerLimits& limits);

  /// Serves until one of `others` ends it.
  void run(const std::vector<Watched>& others);

  /// Limits for what comes from now on; the number of connections stays as it is.
  void setLimits(const ServerLimits& limits) { limits_ = limits; }
  [[nodiscard]] std::size_t connections() const noexcept { return connections_.size(); }

 private:
  using Connections = std::map<ConnectionId, Connection>;
  struct Ready {
    ConnectionId id;
    short events;
    bool root;
  };

  [[nodiscard]] std::vector<Ready> inTurn(std::span<const pollfd> polled) const;
  void serveSome(const std::vector<Ready>& ready);
  [[nodiscard]] int pollTimeout() const;
  [[nodiscard]] bool accepting() const;
  void acceptSome();
  void admit(tolk::UniqueFd socket);
  void serve(Connections::iterator at, short events);
  void drop(Connections::iterator at);
  // After the answer to a call that has waited.
  void goOn(Connections::iterator at, bool answered);
  void deliverLetters();
  void dropSlow();
  // Answers the next call, if there is a whole one; false when the connection is to end.
  bool answerCall(ConnectionId id, Connection& connection);
  bool exchange(ConnectionId id, Connection& connection, short events);

  tolk::UniqueFd listener_;
  Handler handler_;
  Mailbox& mailbox_;
  ServerLimits limits_;
  Connections connections_;
  Places places_;
  ConnectionId lastId_ = 0;
  ConnectionId lastServed_ = 0;      // of a user other than root
  Clock::time_point acceptAgain_{};  // after running out of descriptors
};

}  // namespace velkd
