// Framing of the daemon channel, the same for both ends: JSON texts, each ended by a NUL byte, on a
// Unix stream socket (https://varlink.org/, "Method Call").
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "tolk/base/handle.h"

namespace tolk {

/// Codes of an IPCException.
struct IpcError {
  static constexpr int kFailed = 1;  ///< the socket failed, or is closed after an earlier failure
  static constexpr int kEndOfStream = 2;     ///< the other end closed before its message was whole
  static constexpr int kTimeout = 3;         ///< the message was not whole, or not taken, in time
  static constexpr int kTooLarge = 4;        ///< the message is over the limit
  static constexpr int kBadMessage = 5;      ///< not JSON, or not what the method answers
  static constexpr int kErrorAnswer = 6;     ///< the daemon answered with an error
  static constexpr int kForeignDaemon = 7;   ///< the socket belongs to neither root nor the caller
  static constexpr int kStillGathering = 8;  ///< the daemon does not know the answer yet
};

inline constexpr std::size_t kMaxMessageBytes = std::size_t{16} << 20U;

using WireDeadline = std::chrono::steady_clock::time_point;

/// Collects the bytes of a stream and cuts them into messages. Each byte is looked at once, however
/// small the pieces are.
class MessageBuffer {
 public:
  explicit MessageBuffer(std::size_t limitBytes = kMaxMessageBytes) : limitBytes_(limitBytes) {}

  void append(std::string_view bytes);

  /// The next whole message without its NUL; empty when more bytes are needed. Throws IPCException
  /// kTooLarge as soon as a message cannot end within the limit.
  std::optional<std::string> next();

  /// Whether no part of a message is waiting.
  [[nodiscard]] bool empty() const noexcept { return start_ == bytes_.size(); }

 private:
  std::size_t limitBytes_;
  std::string bytes_;
  std::size_t start_ = 0;     // of the first message that was not handed out
  std::size_t searched_ = 0;  // no NUL between start_ and here
};

/// A connected socket that carries messages. Every failure is an IPCException with a code of
/// IpcError.
class VarlinkStream {
 public:
  /// Takes over a connected stream socket and makes it non-blocking.
  explicit VarlinkStream(UniqueFd socket, std::size_t limitBytes = kMaxMessageBytes);

  /// Sends one message and its NUL; throws kTimeout when the other end has not taken it all by
  /// `deadline`, kTooLarge for more than the limit, kBadMessage for a text with a NUL byte.
  void send(std::string_view message, WireDeadline deadline);

  /// Waits for one whole message.
  std::string receive(WireDeadline deadline);

  [[nodiscard]] int fd() const noexcept { return socket_.get(); }

 private:
  UniqueFd socket_;
  std::size_t limitBytes_;
  MessageBuffer received_;
};

}  // namespace tolk
