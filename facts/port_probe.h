// One port of a server, asked as its service wants it, as a wait on an event loop; and which ports
// are asked, in which order.
#pragma once

#include <netinet/in.h>

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "tolk/net/cldap.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/probes.h"

namespace tolk {
struct Property;
}

namespace joinscope {

/// How a port is probed: a connection, also for kdc, or an exchange of that kind.
enum class Probe { connect, kdc, ldapUdp, smb, ntp };

/// One probed port.
struct PortRow {
  const char* service;
  int port;
  Probe probe;
};

/// One kind of server by its ports. Only a server whose first port answers is probed further.
struct ServerKind {
  std::span<const PortRow> rows;
};

inline constexpr std::array kCatalogRows{PortRow{"gc", 3268, Probe::connect}};
inline constexpr std::array kControllerRows{
    PortRow{"ldap", 389, Probe::connect},    PortRow{"ldap", 389, Probe::ldapUdp},
    PortRow{"smb", 445, Probe::smb},         PortRow{"kdc", 88, Probe::kdc},
    PortRow{"kpasswd", 464, Probe::connect}, PortRow{"ntp", 123, Probe::ntp},
};

inline constexpr ServerKind kGlobalCatalog{kCatalogRows};
inline constexpr ServerKind kDomainController{kControllerRows};

/// Whether the row's port is a UDP port.
constexpr bool overUdp(const PortRow& row) {
  return row.probe == Probe::ldapUdp || row.probe == Probe::ntp;
}

/// What a probe found.
struct ProbeVerdict {
  static constexpr int kGood = 0;
  static constexpr int kRefused = 1;
  static constexpr int kTimeout = -1;

  int result = kTimeout;                  ///< any other value counts as kTimeout
  const tolk::Property* limit = nullptr;  ///< the limit that ended the wait, if one did
  std::string message;                    ///< what else there is to say about a failure
  std::string reason = {};                ///< the same, told behind the row instead of in it
  std::optional<double> clockAhead = {};  ///< of a time query: as in ControllerFacts
};

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

/// One host's port alone, waited for: a root DSE over UDP (MS-ADTS 6.3.3), refused for an answer
/// without one, with the same lasting limit as above; and the time.
ProbeVerdict askLdapUdp(const std::string& host);
ProbeVerdict askTime(const std::string& host);

/// Whether a wait that began at `started` has used up the limit.
bool limitReached(std::chrono::steady_clock::time_point started, const tolk::Property& limit);

}  // namespace joinscope
