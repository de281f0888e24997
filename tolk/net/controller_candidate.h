// One controller on its way from its name to its answer.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tolk/net/dns.h"
#include "tolk/net/netlogon.h"
#include "tolk/net/probes.h"

namespace tolk {

/// Name, address, netlogon ping and, where pings do not get through, TCP connection of a possible
/// controller.
class ControllerCandidate {
 public:
  using Clock = EventLoop::Clock;

  ControllerCandidate(HostPort server, Clock::time_point startAt);

  Clock::time_point startAt;  ///< when it is to be asked, unless those before it fail earlier

  [[nodiscard]] const std::string& host() const noexcept { return server_.host; }
  /// The sites among whose records it is; it may be in those of several.
  void addSite(const std::string& site) { sites_.push_back(site); }
  [[nodiscard]] bool inSite(const std::string& site) const;
  /// The name is resolved.
  [[nodiscard]] bool hasAddress() const noexcept { return hasAddress_; }
  /// With the port for LDAP; meaningful when there is one.
  [[nodiscard]] const sockaddr_in& address() const noexcept { return address_; }

  [[nodiscard]] bool started() const noexcept { return started_; }
  [[nodiscard]] bool active() const noexcept { return started_ && !finished_; }
  /// The name has no address, or the ping has ended.
  [[nodiscard]] bool finished() const noexcept { return finished_; }
  /// The ping was answered, with whatever content.
  [[nodiscard]] bool answered() const noexcept { return answered_; }
  [[nodiscard]] bool resolved() const noexcept { return bool(lookup_) && lookup_.done(); }

  void startLookup(EventLoop& loop);
  /// Once resolved(): starts the ping at the first address, or finishes when there is none.
  void startPing(EventLoop& loop, const std::string& domain, std::chrono::milliseconds limit);
  /// The answer, once, when it has come. A failed ping finishes the candidate.
  std::optional<NetlogonAnswer> takeAnswer();

  /// Connects to the LDAP port, or to `port` when that is not 0.
  void startConnect(EventLoop& loop, in_port_t port, std::chrono::milliseconds limit);
  [[nodiscard]] bool connecting() const noexcept { return bool(connect_); }
  /// Whether the connection has come to stand since the last call.
  bool takeConnected();

 private:
  HostPort server_;
  std::vector<std::string> sites_;
  Pending<std::vector<in_addr>> lookup_;
  Pending<NetlogonAnswer> ping_;
  Pending<ProbeOutcome> connect_;
  sockaddr_in address_{};
  bool hasAddress_ = false;
  bool started_ = false;
  bool finished_ = false;
  bool answered_ = false;
};

}  // namespace tolk
