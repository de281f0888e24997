// Controllers and global catalogs as this host reaches them: addresses, ports, clocks; all waits
// together.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "facts/port_probe.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/host_port.h"

namespace tolk {
class ADObject;
}

namespace joinscope {

/// What a controller's ports do not tell: whether anybody answers behind an open one, and how far
/// its clock is from this host's.
struct ControllerFacts {
  std::optional<double> ldapAhead;  ///< seconds by which this clock is ahead of the directory's
  std::optional<double> ntpAhead;   ///< the same of the time service's
  std::string ldapTrouble;          ///< why nothing was read from an open LDAP port
  std::string kdcTrouble;           ///< why no ticket was answered for at an open KDC port
  std::vector<std::string> deadAddresses;  ///< of the host's others, and what happened there
};

/// A server to be probed.
struct ProbeTarget {
  const ServerKind* kind;  ///< kGlobalCatalog or kDomainController
  tolk::HostPort entry;
};

class ServerProbes;

/// Probes a list of servers; with a realm asks the controllers among them, beside the rows, what
/// ControllerFacts hold. The waits of all overlap, or of as many at a time as there are descriptors
/// for; noteTrouble() then says so. Of a host with several addresses the one whose first port
/// accepts first is probed further.
class ProbeRun {
 public:
  explicit ProbeRun(std::vector<ProbeTarget> targets, std::string realm = {});
  ProbeRun(const ProbeRun&) = delete;
  ProbeRun& operator=(const ProbeRun&) = delete;
  ~ProbeRun();

  [[nodiscard]] const ProbeTarget& target(std::size_t index) const { return targets_.at(index); }

  /// What is learnt of server number `index`, each waited for on demand: whether its host has an
  /// address, the verdict on a row of its kind, and what its ports do not tell. To be asked for
  /// servers 0, 1, 2 ... in turn; asking for one forgets those before it.
  ProbeVerdict address(std::size_t index);
  ProbeVerdict port(std::size_t index, std::size_t row);
  ControllerFacts controller(std::size_t index);

 private:
  void runUntil(
      const std::function<bool()>& condition,
      tolk::EventLoop::Clock::time_point deadline = tolk::EventLoop::Clock::time_point::max());
  ProbeVerdict waitFor(const std::optional<ProbeVerdict>& answer);
  ServerProbes& server(std::size_t index);

  // All rows of a server, its lookup, and its first port at further addresses.
  static constexpr std::size_t kDescriptorsEach = 10;

  std::vector<ProbeTarget> targets_;
  std::string realm_;
  std::size_t window_;
  tolk::EventLoop loop_;
  std::vector<std::unique_ptr<ServerProbes>> probes_;  // as far as started; null when forgotten
};

/// By how many seconds this clock was ahead of the server's when its root DSE came at `received`:
/// currentTime (MS-ADTS 3.1.1.3.2.2), which is in whole seconds. Empty when that is missing or no
/// time.
std::optional<double> clockAhead(const tolk::ADObject& rootDse,
                                 std::chrono::system_clock::time_point received);
/// The same of the attribute's value.
std::optional<double> clockAhead(const std::string& text,
                                 std::chrono::system_clock::time_point received);

/// The port of a row for `entry`: a known port other than 0 of the entry replaces the first row's.
int portOf(const tolk::HostPort& entry, const ServerKind& kind, std::size_t row);

}  // namespace joinscope
