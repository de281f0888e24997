// One caller's connection: what has come in, what has to go out, and how long either may take.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tolk/base/handle.h"
#include "tolk/rpc/varlink_wire.h"

namespace velkd {

using Clock = std::chrono::steady_clock;

/// Who is at the other end, from the kernel (unix(7), SO_PEERCRED).
struct Caller {
  uid_t uid = 0;
  pid_t pid = 0;

  [[nodiscard]] bool privileged() const noexcept { return uid == 0; }
};

/// What a connection may cost.
struct ConnectionLimits {
  std::size_t messageBytes = 0;      ///< longest message
  std::chrono::milliseconds idle{};  ///< between two calls
  std::chrono::milliseconds
      transfer{};  ///< from a call's first byte to its last, and for an answer
};

/// How long a caller is kept waiting for an answer that comes through the mailbox, and what it is
/// told when that time is over.
struct Patience {
  Clock::time_point end = Clock::time_point::max();
  std::function<std::string()> answer;  ///< needed where there is an end
};

/// A call is read, answered and written before the next one is read, so that one connection never
/// holds more than one message each way. Failures of the socket end the connection: they show in
/// the return values.
class Connection {
 public:
  Connection(tolk::UniqueFd socket, Caller caller, const ConnectionLimits& limits);

  [[nodiscard]] int fd() const noexcept { return socket_.get(); }
  [[nodiscard]] const Caller& caller() const noexcept { return caller_; }

  /// What poll(2) is to wait for.
  [[nodiscard]] short events() const noexcept;
  /// When the caller has been too slow, or has waited for the daemon long enough.
  [[nodiscard]] std::optional<Clock::time_point> deadline() const noexcept;
  /// Whether nextCall() may have a call without anything being read.
  [[nodiscard]] bool mayHaveCall() const noexcept { return !waiting_ && !writing() && unread_; }

  /// Reads what is there, up to 64 KiB. False when the socket has failed.
  bool readSome();
  /// The next whole call, if the one before has been answered and its answer taken. From here on
  /// the connection waits for answer(). Throws tolk::IPCException for a message over the limit.
  std::optional<std::string> nextCall();
  /// The number of the call at hand.
  [[nodiscard]] std::uint64_t call() const noexcept { return call_; }
  /// The call at hand is answered later: by answer() with its number.
  void keepWaiting(Patience patience) { patience_ = std::move(patience); }
  /// Answers the call at hand and sends as much as the caller takes now; "" sends nothing. False
  /// when the socket has failed.
  bool answer(const std::string& text);
  /// Whether the call of that number still waits for its answer.
  [[nodiscard]] bool awaits(std::uint64_t call) const noexcept { return waiting_ && call == call_; }
  /// The deadline has come: tells the caller that the daemon is late. False when it is the caller
  /// that is late.
  bool giveUp();
  /// Sends what is left. False when the socket has failed.
  bool writeSome();
  /// Whether the caller has sent its last call and has all its answers.
  [[nodiscard]] bool finished() const noexcept;

 private:
  [[nodiscard]] bool writing() const noexcept { return sent_ < output_.size(); }

  tolk::UniqueFd socket_;
  Caller caller_;
  ConnectionLimits limits_;
  tolk::MessageBuffer input_;
  std::string output_;
  std::size_t sent_ = 0;
  std::uint64_t call_ = 0;
  Patience patience_;                       // for the call at hand
  bool unread_ = false;                     // there may be a whole call in input_
  bool waiting_ = false;                    // a call was handed out and is not answered yet
  bool ended_ = false;                      // the caller sends no more
  Clock::time_point since_ = Clock::now();  // the wait for the caller that is going on
};

}  // namespace velkd
