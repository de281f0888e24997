// One controller on its way from its name to its answer.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/net/dns.h"
#include "tolk/net/netlogon.h"
#include "tolk/net/probes.h"

namespace tolk {

/// What all controllers of one search are asked, and how long.
struct ControllerQuestion {
  EventLoop& loop;
  std::string domain;  ///< empty: each about its own
  in_port_t port = 0;  ///< must accept connections; 0 for the LDAP port
  std::chrono::milliseconds limit;
  bool byTcpAtOnce = false;  ///< by both ways together, where another controller has failed
  std::optional<EventLoop::Clock::time_point> deadline = {};  ///< set by the first that is asked

  [[nodiscard]] std::chrono::milliseconds timeLeft() const;
};

/// Name, addresses, netlogon answer and, so that it is more than an answer to pings, a connection
/// to the port it is wanted for. The question goes out by UDP; by TCP too after half of the limit,
/// or at once where UDP has been seen not to get through; to each of a host's first addresses, for
/// one of them may be dead.
class ControllerCandidate {
 public:
  using Clock = EventLoop::Clock;

  /// With `failedBefore` its port is not tried: it is known to be of little use.
  ControllerCandidate(HostPort server, Clock::time_point startAt, bool failedBefore);

  Clock::time_point startAt;  ///< when it is to be asked, unless those before it fail earlier

  [[nodiscard]] const std::string& host() const noexcept { return server_.host; }
  [[nodiscard]] bool failedBefore() const noexcept { return failedBefore_; }
  /// The sites among whose records it is; it may be in those of several.
  void addSite(const std::string& site) { sites_.push_back(site); }
  [[nodiscard]] bool inSite(const std::string& site) const;

  void start(EventLoop& loop);
  /// Takes what has come and starts what follows from it; never waits.
  void advance(ControllerQuestion& question);
  /// When advance() has something to do although nothing has come.
  [[nodiscard]] Clock::time_point wakeAt() const;

  [[nodiscard]] bool started() const noexcept { return started_; }
  /// Nothing more will come.
  [[nodiscard]] bool finished() const noexcept;
  [[nodiscard]] bool active() const noexcept { return started_ && !finished(); }
  /// The name is resolved.
  [[nodiscard]] bool hasAddress() const noexcept { return hasAddress_; }
  /// The one that has answered, else the first; with the port for LDAP. Meaningful when there is
  /// one.
  [[nodiscard]] const sockaddr_in& address() const noexcept { return address_; }
  /// It speaks LDAP, whatever it has said.
  [[nodiscard]] bool answered() const noexcept { return answered_; }
  /// What it says, when it holds the domain.
  [[nodiscard]] const std::optional<NetlogonAnswer>& answer() const noexcept { return answer_; }
  /// The port it is wanted for accepts connections.
  [[nodiscard]] bool accepts() const noexcept { return accepts_; }
  /// What a limit has ended, with its time; empty when none has.
  [[nodiscard]] const std::string& silence() const noexcept { return silence_; }
  [[nodiscard]] bool timedOut() const noexcept { return !silence_.empty(); }
  /// Why it was not reached before any limit; else empty.
  [[nodiscard]] const std::string& failure() const noexcept { return failure_; }
  /// The port as long as it accepts nothing, and why: "10.0.0.1:389: Connection refused".
  [[nodiscard]] std::string portFailure() const;

 private:
  /// An address of the host, and what is under way there.
  struct Place {
    sockaddr_in address;
    Pending<NetlogonAnswer> ping;
    Pending<NetlogonAnswer> query;
  };

  void takeAddresses(ControllerQuestion& question);
  [[nodiscard]] bool pinging() const noexcept;
  [[nodiscard]] bool asking() const noexcept;
  void takeAnswers(const ControllerQuestion& question);
  void takeAnswer(const sockaddr_in& address, Pending<NetlogonAnswer>& pending);
  void settle(const sockaddr_in& address);
  void takePort();
  void askByTcp(const ControllerQuestion& question);
  void tryPort(const ControllerQuestion& question, std::chrono::milliseconds limit);
  void tellUdpLost() const;
  void noteFailure(const Base_Exception& failure);

  HostPort server_;
  bool failedBefore_;
  std::vector<std::string> sites_;
  Pending<std::vector<in_addr>> lookup_;
  std::vector<Place> places_;
  Pending<ProbeOutcome> connect_;
  Clock::time_point queryAt_ = Clock::time_point::max();
  sockaddr_in address_{};
  sockaddr_in port_{};
  Clock::time_point connectStart_;
  std::optional<NetlogonAnswer> answer_;
  std::string silence_;
  std::string failure_;
  std::string portFailure_;
  bool hasAddress_ = false;
  bool started_ = false;
  bool answered_ = false;
  bool queried_ = false;
  bool portTried_ = false;
  bool accepts_ = false;
};

}  // namespace tolk
