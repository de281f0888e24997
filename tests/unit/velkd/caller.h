// A caller of the daemon's socket that can also behave badly.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <string>

#include "tolk/base/handle.h"

namespace velkd::test {

class RawCaller {
 public:
  explicit RawCaller(const std::string& path)
      : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }

  /// False when the other end is gone.
  bool send(std::string_view bytes) {
    return ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
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

inline std::string framed(std::string text) {
  text += '\0';
  return text;
}

}  // namespace velkd::test
