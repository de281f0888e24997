// A caller of the daemon's socket that can also behave badly.
#pragma once

#include <poll.h>

#include <array>
#include <string>
#include <string_view>

#include "tests/support/unix_socket.h"

namespace joinscope::test {

inline std::string framed(std::string text) {
  text += '\0';
  return text;
}

/// One connection. Its receive() waits at most 20 s.
class RawCaller {
 public:
  /// Throws std::system_error when nobody listens there.
  explicit RawCaller(const std::string& path) : socket_(unixSocket(::connect, path)) {}

  /// False when the other end is gone.
  bool send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }
  /// As much as goes out without waiting.
  void flood(std::string_view bytes) {
    while (::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0) {
    }
  }
  /// Whether the other end closes the connection within 20 s; reads nothing.
  bool isClosed() {
    pollfd one{socket_.get(), 0, 0};
    return ::poll(&one, 1, kLimitMs) == 1 && (one.revents & POLLHUP) != 0;
  }
  void endSending() { ::shutdown(socket_.get(), SHUT_WR); }

  /// The next answer without its NUL; "<closed>" when the connection ended, "<silence>" after 20 s.
  std::string receive() {
    for (;;) {
      if (const auto end = received_.find('\0'); end != std::string::npos) {
        std::string answer = received_.substr(0, end);
        received_.erase(0, end + 1);
        return answer;
      }
      pollfd one{socket_.get(), POLLIN, 0};
      if (::poll(&one, 1, kLimitMs) == 0) return "<silence>";
      std::array<char, 4096> chunk{};
      const ssize_t count = ::recv(socket_.get(), chunk.data(), chunk.size(), 0);
      if (count <= 0) return "<closed>";
      received_.append(chunk.data(), static_cast<std::size_t>(count));
    }
  }

 private:
  static constexpr int kLimitMs = 20000;

  tolk::UniqueFd socket_;
  std::string received_;
};

}  // namespace joinscope::test
