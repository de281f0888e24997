// The host's own addresses and names.
#pragma once

#include <netinet/in.h>

#include <list>
#include <optional>
#include <string>

namespace tolk {

/// One IPv4 address of this host.
struct InterfaceDescription {
  std::string name;           ///< of the interface, for example "eth0"
  unsigned long address = 0;  ///< network byte order
  unsigned long netmask = 0;  ///< network byte order
};

/// Replaces `out` by the host's IPv4 addresses, each once, in the kernel's order. Bit 0 of `flags`:
/// only interfaces that are up. Loopback interfaces are left out unless `includeLoopback`. Throws
/// IOException when the kernel does not tell (getifaddrs(3)).
void GetIpAddresses(std::list<InterfaceDescription>& out, unsigned flags, bool includeLoopback);

/// The address, with its interface, from which this host reaches `peer`; nothing without a way
/// there. Sends nothing.
std::optional<InterfaceDescription> addressTowards(const sockaddr_in& peer);

/// Dotted-decimal text of an IPv4 address in network byte order.
std::string InetNToA(unsigned long address);

/// The host name up to its first dot, gethostname(2).
std::string shortLocalHostName();

/// The fully qualified host name: the host name itself when it has a dot, else the canonical name
/// that /etc/hosts or DNS gives for it, within velkd.dns.response.maxtime; without either the bare
/// host name.
std::string longLocalHostName();

}  // namespace tolk
