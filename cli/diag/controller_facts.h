// What a controller's ports do not tell: whether anybody answers behind an open one, and how far
// its clock is from this host's. For the diagnostic stream.
#pragma once

#include <chrono>
#include <iosfwd>
#include <optional>
#include <string>

namespace tolk {
class ADObject;
}

namespace joinscope {

struct ControllerFacts {
  std::optional<double> ldapAhead;  ///< seconds by which this clock is ahead of the directory's
  std::optional<double> ntpAhead;   ///< the same of the time service's
  std::string ldapTrouble;          ///< why nothing was read from an open LDAP port
  std::string kdcTrouble;           ///< why no ticket was answered for at an open KDC port
};

/// By how many seconds this clock was ahead of the server's when its root DSE came at `received`:
/// currentTime (MS-ADTS 3.1.1.3.2.2), which is in whole seconds. Empty when that is missing or no
/// time.
std::optional<double> clockAhead(const tolk::ADObject& rootDse,
                                 std::chrono::system_clock::time_point received);

/// "This clock is 94 s ahead of HOST (LDAP +94 s, NTP +93.8 s); Kerberos refuses 300 s", or what
/// Kerberos makes of more; empty when nothing was measured. `host` is safe to print.
std::string clockText(const std::string& host, const ControllerFacts& facts);

/// One line for each thing that there is to say; at most the clock's for a sound controller.
void writeFacts(std::ostream& diag, const std::string& host, const ControllerFacts& facts);

}  // namespace joinscope
