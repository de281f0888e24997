#include "tests/unit/tolk/net/loopback_server.h"

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <utility>

#include "tests/support/tcp_port.h"

namespace tolk::test {
namespace {

constexpr auto kNever = Operation::Clock::time_point::max();

class Server : public Operation {
 public:
  explicit Server(EventLoop& loop) : Operation(loop, kNever) {}

 private:
  void expire() override {}
};

class Stop final : public Server {
 public:
  Stop(EventLoop& loop, int fd) : Server(loop), fd_(fd) {}

 private:
  void watch(std::vector<pollfd>& out) override { out.push_back({fd_, POLLIN, 0}); }
  void advance(std::span<const pollfd> /*ready*/) override { complete(); }

  int fd_;
};

class UdpServer final : public Server {
 public:
  UdpServer(EventLoop& loop, UniqueFd fd, DatagramScript script)
      : Server(loop), fd_(std::move(fd)), script_(std::move(script)) {}

 private:
  void watch(std::vector<pollfd>& out) override { out.push_back({fd_.get(), POLLIN, 0}); }
  void advance(std::span<const pollfd> /*ready*/) override {
    std::array<char, 65536> bytes;
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    auto* generic = reinterpret_cast<sockaddr*>(&peer);
    const ssize_t count = ::recvfrom(fd_.get(), bytes.data(), bytes.size(), 0, generic, &size);
    if (count < 0) return;
    for (const std::string& answer : script_({bytes.data(), static_cast<std::size_t>(count)})) {
      ::sendto(fd_.get(), answer.data(), answer.size(), 0, generic, size);
    }
  }

  UniqueFd fd_;
  DatagramScript script_;
};

class TcpServer final : public Server {
 public:
  TcpServer(EventLoop& loop, UniqueFd fd, StreamScript script)
      : Server(loop), listener_(std::move(fd)), script_(std::move(script)) {}

 private:
  struct Client {
    UniqueFd fd;
    std::string received{};
  };

  void watch(std::vector<pollfd>& out) override {
    out.push_back({listener_.get(), POLLIN, 0});
    for (const Client& client : clients_) out.push_back({client.fd.get(), POLLIN, 0});
  }
  void advance(std::span<const pollfd> ready) override {
    for (const pollfd& descriptor : ready) {
      if (descriptor.fd == listener_.get()) {
        UniqueFd fd(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (fd) clients_.push_back({std::move(fd)});
      } else {
        std::erase_if(clients_, [&](Client& client) {
          return client.fd.get() == descriptor.fd && !serve(client);
        });
      }
    }
  }
  bool serve(Client& client) const {
    std::array<char, 65536> bytes;
    const ssize_t count = ::recv(client.fd.get(), bytes.data(), bytes.size(), 0);
    if (count <= 0) return false;
    client.received.append(bytes.data(), static_cast<std::size_t>(count));
    const auto answer = script_(client.received);
    if (!answer) return true;
    ::send(client.fd.get(), answer->data(), answer->size(), MSG_NOSIGNAL);
    return !answer->empty();
  }

  UniqueFd listener_;
  StreamScript script_;
  std::vector<Client> clients_;
};

}  // namespace

LoopbackServer::LoopbackServer() : stop_(::eventfd(0, EFD_CLOEXEC)) {
  servers_.push_back(std::make_unique<Stop>(loop_, stop_.get()));
}

LoopbackServer::~LoopbackServer() {
  ::eventfd_write(stop_.get(), 1);
  if (thread_.joinable()) thread_.join();
}

sockaddr_in LoopbackServer::udp(DatagramScript script, const std::string& address, in_port_t port) {
  sockaddr_in bound = loopback(address, port);
  UniqueFd fd = boundSocket(SOCK_DGRAM | SOCK_NONBLOCK, bound);
  servers_.push_back(std::make_unique<UdpServer>(loop_, std::move(fd), std::move(script)));
  return bound;
}

sockaddr_in LoopbackServer::tcp(StreamScript script, const std::string& address, in_port_t port) {
  sockaddr_in bound = loopback(address, port);
  UniqueFd fd = boundSocket(SOCK_STREAM | SOCK_NONBLOCK, bound);
  check(::listen(fd.get(), 16) == 0, "listen");
  servers_.push_back(std::make_unique<TcpServer>(loop_, std::move(fd), std::move(script)));
  return bound;
}

void LoopbackServer::start() {
  thread_ = std::thread([this] { loop_.runUntil([this] { return servers_.front()->done(); }); });
}

}  // namespace tolk::test
