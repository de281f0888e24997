// The netlogon ping: what a domain controller says of itself and of the asking client over
// connectionless LDAP (MS-ADTS 6.3.3 and 6.3.1.9).
#pragma once

#include <netinet/in.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "tolk/net/event_loop.h"
#include "tolk/net/ldap_silence.h"

namespace tolk {

/// What a controller is and can do (MS-ADTS 6.3.1.2).
struct NetlogonFlag {
  static constexpr std::uint32_t kPdc = 0x1;
  static constexpr std::uint32_t kGlobalCatalog = 0x4;
  static constexpr std::uint32_t kLdap = 0x8;
  static constexpr std::uint32_t kKdc = 0x20;
  static constexpr std::uint32_t kTimeService = 0x40;
  static constexpr std::uint32_t kClosest = 0x80;  ///< in the client's site, or the closest one
  static constexpr std::uint32_t kWritable = 0x100;
};

/// NETLOGON_SAM_LOGON_RESPONSE_EX. Names are as received, UTF-8 by the protocol but not checked.
struct NetlogonAnswer {
  std::uint16_t operation = 0;          ///< 23, or 25 when the asked user is unknown
  std::uint32_t flags = 0;              ///< NetlogonFlag
  std::array<std::uint8_t, 16> guid{};  ///< of the domain
  std::string forest;
  std::string domain;
  std::string host;
  std::string netbiosDomain;
  std::string netbiosHost;
  std::string user;
  std::string dcSite;
  std::string clientSite;       ///< empty when no site covers the client's address
  std::string nextClosestSite;  ///< empty when the controller does not say
};

/// Reads the value of the attribute Netlogon. Names may be compressed with pointers to earlier
/// bytes (RFC 1035, 4.1.4). Throws BadDataException for other operations and for damaged values.
NetlogonAnswer parseNetlogonAnswer(std::string_view value);

/// Asks the controller at `address` (port 0 means 389) about `domain`, or about its own domain when
/// that is empty, by UDP as a ping or by TCP. Throws TimeoutException, IOException (nobody
/// listens), NotFoundException when the controller does not hold the domain, and BadDataException.
Pending<NetlogonAnswer> startNetlogonPing(EventLoop& loop, Transport transport,
                                          const sockaddr_in& address, const std::string& domain,
                                          std::chrono::milliseconds limit);

}  // namespace tolk
