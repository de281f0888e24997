// DNS lookups: service records, reverse records and host addresses. Each lookup ends within
// velkd.dns.response.maxtime, all name servers and retries together; servers come from
// resolv.conf(5), and how they did is remembered for the process (tolk/net/name_servers.h).
#pragma once

#include <netdb.h>
#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "tolk/base/property_names.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/host_port.h"
#include "tolk/net/limits.h"

namespace tolk {

/// Appends the SRV records (RFC 2782) of `name` to `out`, sorted by priority, then weight (larger
/// first), then host; records that say "not offered here" (target ".") are left out. Returns 1 when
/// DNS had records. When it has none, or does not answer, appends the controllers that orvald.conf
/// names for the domain (keys dns.dc.DOMAIN for _ldap._tcp, dns.gc.DOMAIN for _gc._tcp: hosts
/// separated by blanks or commas, each with an optional :PORT), or else the one that the join
/// settings record for the joined domain, and returns 0.
/// Throws DNSUnavailableException when DNS does not answer and the configuration names none,
/// BadDataException for what cannot be a DNS name.
int FindSrv(const std::string& name, HostPortList& out);

/// The same from DNS alone: 1 with records, 0 without; throws DNSUnavailableException. The numbers
/// are reserved, pass 0.
int FindSrvFromDns(const std::string& name, HostPortList& out, int reserved1, int reserved2,
                   int reserved3);

/// Appends the names of the PTR records of a dotted IPv4 address, without ports, in the order of
/// the answer. Returns how many, or -1 when there is no record: the name does not exist, or the
/// servers refuse or fail to answer for it. Throws DNSUnavailableException when no server answers
/// in time and BadDataException when `address` is no address.
int FindPtrFromDns(const std::string& address, HostPortList& out);

/// gethostbyname_r(3) for IPv4 that ends within velkd.dns.response.maxtime: /etc/hosts first, then
/// DNS with the search domains of resolv.conf; dotted addresses stand for themselves. Null with
/// *h_errnop HOST_NOT_FOUND, NO_DATA, TRY_AGAIN (DNS does not answer) or NO_RECOVERY (no valid
/// name); NETDB_INTERNAL and errno ERANGE when `size` is too small. Throws nothing.
hostent* tolk_gethostbyname_r(const char* name, hostent* result, char* buffer, std::size_t size,
                              int* h_errnop) noexcept;

/// FindSrvFromDns as a wait on `loop`: empty without records, throws as it does.
Pending<HostPortList> startSrvLookup(
    EventLoop& loop, const std::string& name,
    std::chrono::milliseconds limit = configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME));

/// FindPtrFromDns as a wait on `loop`: empty where that returns -1.
Pending<HostPortList> startPtrLookup(
    EventLoop& loop, const std::string& address,
    std::chrono::milliseconds limit = configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME));

}  // namespace tolk
