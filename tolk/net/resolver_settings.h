// What resolv.conf(5) says, as it is now.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace tolk {

/// The name servers and how to ask them.
struct ResolverSettings {
  std::vector<std::string> servers;  ///< IPv4 and IPv6 addresses, in the order of the file
  std::vector<std::string> searchDomains;
  int ndots = 1;                    ///< names with fewer dots are tried with the domains first
  std::chrono::seconds timeout{5};  ///< until a question is sent again to the same server
  int attempts = 2;                 ///< how often a server is sent a question
  bool rotate = false;              ///< lookups begin at different servers

  bool operator==(const ResolverSettings&) const = default;
};

/// Reads /etc/resolv.conf, LOCALDOMAIN and RES_OPTIONS by the C library, which keeps what it has
/// parsed until the file changes. Throws DNSUnavailableException when it cannot.
ResolverSettings readResolverSettings();

}  // namespace tolk
