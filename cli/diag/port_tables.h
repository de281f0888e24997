// Which ports of a server are probed, in which order and how.
#pragma once

#include <array>
#include <span>

namespace joinscope {

/// How a port is probed: a connection, also for kdc, or an exchange of that kind.
enum class Probe { connect, kdc, ldapUdp, smb, ntp };

/// One probed port.
struct PortRow {
  const char* service;
  int port;
  Probe probe;
};

/// One kind of server: its title and its ports. Only a server whose first port answers is probed
/// further.
struct ServerKind {
  const char* title;
  std::span<const PortRow> rows;
};

inline constexpr std::array kCatalogRows{PortRow{"gc", 3268, Probe::connect}};
inline constexpr std::array kControllerRows{
    PortRow{"ldap", 389, Probe::connect},    PortRow{"ldap", 389, Probe::ldapUdp},
    PortRow{"smb", 445, Probe::smb},         PortRow{"kdc", 88, Probe::kdc},
    PortRow{"kpasswd", 464, Probe::connect}, PortRow{"ntp", 123, Probe::ntp},
};

inline constexpr ServerKind kGlobalCatalog{"Global Catalog", kCatalogRows};
inline constexpr ServerKind kDomainController{"Domain Controller", kControllerRows};

/// Whether the row's port is a UDP port.
constexpr bool overUdp(const PortRow& row) {
  return row.probe == Probe::ldapUdp || row.probe == Probe::ntp;
}

}  // namespace joinscope
