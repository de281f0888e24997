// The short (NetBIOS) names of domains, as people write them in DOMAIN\user.
#pragma once

#include <string>

namespace tolk {

/// The NetBIOS name of the domain `domain` (a DNS name), as one of its controllers tells it; ""
/// when none can be asked or `domain` is empty. Waits as NetworkState::getDCForDomain() does.
std::string netbiosNameOf(const std::string& domain);

/// The DNS name of the domain that `name` may stand for: that of the joined domain when `name` is
/// its NetBIOS name, or could be as no controller tells that, else `name` itself. The caller
/// compares with what the controller found says. Throws IOException when the join settings cannot
/// be read.
std::string dnsNameOfDomain(const std::string& name);

}  // namespace tolk
