// Servers on loopback addresses that answer as a test says, on a thread of their own.
#pragma once

#include <netinet/in.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tolk/base/handle.h"
#include "tolk/net/event_loop.h"

namespace tolk::test {

/// Gets a datagram and returns those to send back; none is silence.
using DatagramScript = std::function<std::vector<std::string>(const std::string& request)>;

/// Gets all that a client has sent so far and returns what to send back; "" hangs up, nothing waits
/// for more.
using StreamScript = std::function<std::optional<std::string>(const std::string& received)>;

/// All servers are added before start(); they end with the object.
class LoopbackServer {
 public:
  LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  ~LoopbackServer();

  /// Return the address bound; port 0 lets the kernel choose. Throw std::system_error.
  sockaddr_in udp(DatagramScript script, const std::string& address = "127.0.0.1",
                  in_port_t port = 0);
  sockaddr_in tcp(StreamScript script, const std::string& address = "127.0.0.1",
                  in_port_t port = 0);

  void start();

 private:
  EventLoop loop_;
  UniqueFd stop_;  // eventfd
  std::vector<std::unique_ptr<Operation>> servers_;
  std::thread thread_;
};

}  // namespace tolk::test
