// One caller's connection: what has come in, what has to go out, and how long either may take.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
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
  /// When the caller has been too slow; nothing while it waits for the daemon.
  [[nodiscard]] std::optional<Clock::time_point> deadline() const noexcept;

  /// Reads what is there, up to 64 KiB. False when the socket has failed.
  bool readSome();
  /// The next whole call, if the one before has been answered and its answer taken. From here on
  /// the connection waits for answer(). Throws tolk::IPCException for a message over the limit.
  std::optional<std::string> nextCall();
  /// Answers the call at hand and sends as much as the caller takes now; "" sends nothing. False
  /// when the socket has failed.
  bool answer(const std::string& text);
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
  bool waiting_ = false;                    // a call was handed out and is not answered yet
  bool ended_ = false;                      // the caller sends no more
  Clock::time_point since_ = Clock::now();  // the wait for the caller that is going on
};

}  // namespace velkd
