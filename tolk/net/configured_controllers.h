// The controllers that this host knows without DNS: by its configuration and by its join.
#pragma once

#include <string>

#include "tolk/net/dc_info.h"
#include "tolk/net/host_port.h"

namespace tolk {

/// The controllers that orvald.conf names for an SRV name, as FindSrv describes; empty when there
/// are none.
HostPortList configuredControllers(const std::string& srvName);

/// Whether this host is joined to `domain`; throws IOException as joined() does.
bool isJoinedDomain(const std::string& domain);

/// The controller, or global catalog, that the join settings record for `domain`; "" when they have
/// none or the host is joined to another. Throws IOException when they cannot be read.
std::string recordedController(const std::string& domain, ServiceType::Enum type);

/// The controller that the join settings record, for an SRV name _ldap._tcp.DOMAIN or
/// _gc._tcp.DOMAIN of the joined domain; empty for others. Settings that cannot be read count as
/// none.
HostPortList recordedControllers(const std::string& srvName);

}  // namespace tolk
