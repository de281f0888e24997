// Which domain controllers there are and which one to use (MS-ADTS 6.3.6): found through DNS and
// netlogon pings, with regard to sites, and remembered for the life of the process.
#pragma once

#include <netinet/in.h>

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "tolk/net/dc_info.h"

namespace tolk {

/// Controller discovery. Each search ends within velkd.dns.response.maxtime (once for the records,
/// once for host names) and net.discovery.timeout for the pings. Results, failures for 45 seconds
/// too, are remembered for the process.
class NetworkState {
 public:
  /// The host name of a controller of `domain` that answers and has the role; "" for an empty
  /// domain. All controllers are asked together, and the first wins that gives a good answer and
  /// accepts a connection on the port it is wanted for; one in this host's site is preferred:
  /// `site`, else the join settings, else what the first answer says, for whose site's controllers
  /// it waits up to 1.5 s. Where no ping gets through (UDP 389 filtered), the question goes over
  /// TCP; where that is not answered either, the first controller whose port accepts is taken
  /// unverified. One that has failed this process (passOver()) is taken when no other will do. When
  /// nothing is found, the joined domain's is the controller that the join settings record,
  /// unverified: what is reported of it then says what is wrong. `rediscover` searches again in any
  /// case, unless a search has failed in the last 15 seconds. Throws TOLKException naming domain
  /// and reason.
  static std::string getDCForDomain(const std::string& domain, const ServiceType::Enum& type,
                                    bool writable, const std::string& site, bool rediscover);

  /// What the controller at `server` (name or address; a port is left aside) says of itself and of
  /// this host. Without `refresh`, what a search or an earlier call has learnt. Never null. Throws
  /// TOLKException when it has no address or does not answer.
  static boost::shared_ptr<DCInfo> getDCInfo(const std::string& server, bool refresh);

  /// The site in which the controllers of `domain` place this host, "" when no subnet covers it or
  /// `domain` is empty. Throws TOLKException.
  static std::string getSubnetSite(const std::string& domain);

  /// The controller (or global catalog) that the join settings record, "" when they have none or
  /// the host is joined to another domain. No network. The two flags are reserved. Throws
  /// IOException when the settings cannot be read.
  static std::string getDCFromKset(const std::string& domain, const ServiceType::Enum& type,
                                   bool reserved1, bool reserved2);

  /// The controller has not served as `type` (no connection, no LDAP answer, bind refused): for
  /// five minutes searches prefer others. `reason` goes to the diagnostic stream, once; it names
  /// address, port and limit. Not for a server that the user named.
  static void passOver(const std::string& server, ServiceType::Enum type,
                       const std::string& reason);

  /// Addresses, with ports, of the realm's key distribution centers: the discovered one first, then
  /// the others of the SRV records _kerberos._tcp.REALM in their order. Empty when there are none;
  /// throws nothing of the tolk family.
  static std::vector<sockaddr_in> getKdcs(const std::string& realm);

  /// A copy of what is remembered. No network.
  static DiscoveryMemory memory();
};

}  // namespace tolk
