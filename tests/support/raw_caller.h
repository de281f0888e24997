// A caller of the daemon's socket that can also behave badly.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include "tolk/base/handle.h"

namespace joinscope::test {

inline std::string framed(std::string text) {
  text += '\0';
  return text;
}

/// One connection. Its receive() waits at most 20 s.
class RawCaller {
 public:
  /// Throws std::system_error when nobody listens there.
  explicit RawCaller(const std::string& path)
      : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      throw std::system_error(errno, std::generic_category(), "cannot connect to " + path);
    }
  }

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
  void endSending() { ::shutdown(socket_.get(), SHUT_WR); }

  /// The next answer without its NUL; "<closed>" when the connection ended, "<silence>" after 20 s.
  std::string receive() {
    constexpr int kLimitMs = 20000;
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
  tolk::UniqueFd socket_;
  std::string received_;
};

}  // namespace joinscope::test
