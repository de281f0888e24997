// A server on loopback that gives each who connects the same bytes and nothing more.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace joinscope::fuzz {

class LoopbackAnswer {
 public:
  LoopbackAnswer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address_;
    auto* const address = reinterpret_cast<sockaddr*>(&address_);
    if (::bind(listener_, address, size) != 0 || ::listen(listener_, 8) != 0) std::abort();
    ::getsockname(listener_, address, &size);
    std::thread([this] { serve(); }).detach();
  }

  [[nodiscard]] const sockaddr_in& address() const noexcept { return address_; }
  /// For those who connect from now on.
  void set(const std::string& answer) {
    const std::lock_guard lock(mutex_);
    answer_ = answer;
  }

 private:
  [[nodiscard]] std::string answer() {
    const std::lock_guard lock(mutex_);
    return answer_;
  }

  [[noreturn]] void serve() {
    for (;;) {
      const int caller = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      const std::string bytes = answer();
      (void)::send(caller, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      ::shutdown(caller, SHUT_WR);
      std::array<char, 4096> rest{};
      while (::recv(caller, rest.data(), rest.size(), 0) > 0) continue;
      ::close(caller);
    }
  }

  int listener_;
  sockaddr_in address_{};
  std::mutex mutex_;
  std::string answer_;
};

}  // namespace joinscope::fuzz
