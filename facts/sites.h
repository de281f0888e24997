// The forest's sites as the configuration partition holds them (MS-ADTS 6.1.1.2.2).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tolk/net/host_port.h"

namespace tolk {
class ADBinding;
}

namespace joinscope {

/// One server of a site; either may be empty.
struct SiteServer {
  std::string name;
  std::string dnsHostName;
};

/// One subnet object.
struct SubnetSite {
  std::string subnet;  ///< as the directory names it, "192.0.2.0/24"
  std::string site;    ///< empty when the subnet belongs to none
  std::vector<SiteServer> servers;
};

/// Where the subnets stand, and the servers of a site, whose name may be anybody's invention.
std::string subnetsBase(const std::string& configurationContext);
std::string siteServersBase(const std::string& site, const std::string& configurationContext);

/// What a read that is waited for next is about.
enum class SiteRead { site, servers };
using SiteWait = std::function<void(SiteRead, const std::string& dn)>;

/// All subnets below `base` in the directory's order, read page by page; the reads of one page are
/// kept outstanding together. `waiting` is called before each is waited for. Throws LDAPException.
std::vector<SubnetSite> readSubnets(tolk::ADBinding& binding, const std::string& base,
                                    const SiteWait& waiting);

/// The servers below `base` that have a DNS name, on port 389; throws LDAPException. That there are
/// none is a trouble (tolk/base/troubles.h).
tolk::HostPortList readSiteServers(tolk::ADBinding& binding, const std::string& base);

}  // namespace joinscope
