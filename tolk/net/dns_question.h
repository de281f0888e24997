// One question to one name server: what that server made of it, refusals included.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>

#include "tolk/net/event_loop.h"
#include "tolk/net/ldap_silence.h"

namespace tolk {

/// Types of records by their number (RFC 1035, 3.2.2; RFC 3596; RFC 2782).
enum class DnsType { a = 1, soa = 6, ptr = 12, aaaa = 28, srv = 33 };

/// The code of the failure when the answer by UDP was cut and TCP gave none.
inline constexpr int kCutAnswer = ENOTCONN;

struct DnsQuestion {
  std::string server;  ///< IPv4 or IPv6 address
  std::string name;    ///< whole: no search domain is added
  DnsType type = DnsType::srv;
  Transport transport = Transport::udp;
};

/// What came back.
struct DnsReply {
  int code = 0;            ///< RFC 1035, 4.1.1: 0 also where there is no such record
  bool truncated = false;  ///< the answer by UDP was cut; this is the whole, by TCP
  std::string message;     ///< for tolk/net/dns_records.h
};

/// Asks as the C library does: by UDP without EDNS0, again as resolv.conf says, by TCP where the
/// answer was cut. Nothing is remembered and nobody else is asked. Fails with TimeoutException,
/// with IOException (ECONNREFUSED: nobody listens there; kCutAnswer), with BadDataException for
/// what cannot be a DNS name, else with DNSUnavailableException.
Pending<DnsReply> startDnsQuestion(EventLoop& loop, const DnsQuestion& question,
                                   std::chrono::milliseconds limit);

/// "NXDOMAIN" and its like (RFC 1035, 4.1.1; RFC 2136, 2.2); the number of a code without a name.
std::string dnsCodeName(int code);

/// The name under which PTR records of an IPv4 address stand: "4.3.2.1.in-addr.arpa" for 1.2.3.4
/// (RFC 1035, 3.5). Throws BadDataException when that is no address.
std::string reverseName(const std::string& address);

}  // namespace tolk
