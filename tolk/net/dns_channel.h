// c-ares for one name server, on an event loop.
#pragma once

#include <ares.h>
#include <poll.h>

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "tolk/base/handle.h"
#include "tolk/net/ldap_silence.h"
#include "tolk/net/name_servers.h"
#include "tolk/net/operation.h"

namespace tolk {

/// Asks one server only, so that the status of a question is what that server made of it, SERVFAIL
/// and REFUSED included. A truncated answer is fetched by TCP.
class DnsChannel {
 public:
  using Clock = Operation::Clock;

  /// Answers from /etc/hosts alone. Throws DNSUnavailableException when the library cannot start.
  DnsChannel() : DnsChannel("f", {}, 0, std::chrono::milliseconds(1)) {}
  /// Answers from `server` alone; its question is sent again as resolv.conf says, more often where
  /// `limit` leaves less time; with Transport::tcp by TCP from the start. Throws as the other does.
  DnsChannel(const NameServer& server, const ResolverSettings& settings,
             std::chrono::milliseconds limit, Transport transport = Transport::udp);
  DnsChannel(const DnsChannel&) = delete;
  DnsChannel& operator=(const DnsChannel&) = delete;
  ~DnsChannel() = default;

  [[nodiscard]] ares_channel get() const noexcept { return channel_.get(); }
  void watch(std::vector<pollfd>& out) const;
  [[nodiscard]] Clock::time_point wakeAt() const;
  /// Reads and writes what is ready and handles the library's own time-outs; runs callbacks.
  void process(std::span<const pollfd> ready) const;

  /// Asks the server for what it can say without asking others: the root's servers, without
  /// recursion. Whatever it answers, it lives.
  void askForLife();
  /// Whether it has answered that.
  [[nodiscard]] bool lives() const noexcept { return lives_; }
  /// Whether it has sent a truncated answer by UDP.
  [[nodiscard]] bool usedTcp() const noexcept { return usedTcp_; }

 private:
  DnsChannel(const char* lookups, const ResolverSettings& settings, int flags,
             std::chrono::milliseconds timeout);

  // Declared before the channel: closing it runs the callbacks.
  bool lives_ = false;
  bool usedTcp_ = false;
  std::unique_ptr<std::remove_pointer_t<ares_channel>, Releaser<ares_destroy>> channel_;
};

}  // namespace tolk
