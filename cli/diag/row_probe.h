// The probe of one port as a wait on an event loop.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <functional>
#include <variant>
#include <vector>

#include "cli/diag/port_tables.h"
#include "cli/diag/server_text.h"
#include "tolk/net/cldap.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/probes.h"

namespace joinscope {

/// Starts with construction; destroying it unfinished gives it up.
class RowProbe {
 public:
  /// Probes `address` as `probe` says. The connectionless LDAP query sets PN::LDAP_BIND_TIMEOUT of
  /// the process to 5 seconds, which stays for the rest of the run.
  RowProbe(tolk::EventLoop& loop, Probe probe, const sockaddr_in& address);

  [[nodiscard]] bool done() const;

  /// Waits for the result; once. To be asked soon after done(): from the time gone it tells whether
  /// a limit ended the wait.
  [[nodiscard]] ProbeVerdict take();

 private:
  using Wait =
      std::variant<tolk::Pending<tolk::ProbeOutcome>, tolk::Pending<std::vector<tolk::CldapEntry>>,
                   tolk::Pending<tolk::NtpAnswer>>;

  Probe probe_;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  Wait wait_;
};

/// Runs a time query and tells its outcome: good; timeout for a TimeoutException, refused for any
/// other of the tolk family, both with the exception's message.
ProbeVerdict judgeTimeQuery(const std::function<void()>& query);

/// Whether a wait that began at `started` has used up the limit.
bool limitReached(std::chrono::steady_clock::time_point started, const tolk::Property& limit);

}  // namespace joinscope
