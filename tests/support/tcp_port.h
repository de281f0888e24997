// TCP ports of the loopback: open, closed, or held without an answer.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "tolk/base/handle.h"

namespace tolk::test {

inline void check(bool good, const char* what) {
  if (!good) throw std::system_error(errno, std::generic_category(), what);
}

inline sockaddr_in loopback(const std::string& text = "127.0.0.1", in_port_t port = 0) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  check(::inet_pton(AF_INET, text.c_str(), &address.sin_addr) == 1, "inet_pton");
  return address;
}

/// Binds to `address` and stores there what the kernel has chosen. Throws std::system_error.
inline UniqueFd boundSocket(int type, sockaddr_in& address) {
  UniqueFd fd(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
  check(bool(fd), "socket");
  const int on = 1;
  ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  check(::bind(fd.get(), generic, size) == 0, "bind");
  check(::getsockname(fd.get(), generic, &size) == 0, "getsockname");
  return fd;
}

/// Accepts connections as far as the kernel does so by itself.
class Listener {
 public:
  explicit Listener(int backlog = SOMAXCONN) {
    check(::listen(socket_.get(), backlog) == 0, "listen");
  }
  [[nodiscard]] sockaddr_in where() const noexcept { return address_; }
  [[nodiscard]] in_port_t port() const noexcept { return ntohs(address_.sin_port); }
  /// "127.0.0.1:PORT"
  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port()); }
  [[nodiscard]] int descriptor() const noexcept { return socket_.get(); }
  [[nodiscard]] UniqueFd accept() const {
    return UniqueFd(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  }
  /// Whether somebody waits to be accepted.
  [[nodiscard]] bool hasCaller() const {
    pollfd descriptor{.fd = socket_.get(), .events = POLLIN, .revents = 0};
    return ::poll(&descriptor, 1, 0) == 1;
  }

 private:
  sockaddr_in address_ = loopback();
  UniqueFd socket_ = boundSocket(SOCK_STREAM, address_);
};

/// Holds a port whose queue is full, so that further connections get no answer: a queue of length 0
/// holds one connection, and the kernel drops what does not fit (listen(2)).
class SilentPort {
 public:
  SilentPort() {
    const sockaddr_in address = listener_.where();
    for (int i = 0; i < 4; ++i) {
      UniqueFd& filler = fillers_.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
      (void)::connect(filler.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
  }
  [[nodiscard]] sockaddr_in address() const noexcept { return listener_.where(); }

 private:
  Listener listener_{0};
  std::vector<UniqueFd> fillers_;
};

/// An address where nobody listens, neither TCP nor UDP.
inline sockaddr_in closedAddress() {
  return Listener().where();
}

}  // namespace tolk::test
