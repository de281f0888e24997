// A host lookup with everything that it tells, for those that need more than the addresses.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <string>
#include <vector>

#include "tolk/base/property_names.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/limits.h"

namespace tolk {

/// The answer for one host name.
struct HostAnswer {
  int error = 0;  ///< 0, or HOST_NOT_FOUND, NO_DATA, TRY_AGAIN, NO_RECOVERY of netdb.h
  std::string
      canonicalName;  ///< after aliases and search domains; as asked when nothing else is known
  std::vector<in_addr> addresses;  ///< IPv4; not empty when error is 0
};

/// Looks in /etc/hosts, in the process's memory of DNS answers, then in DNS with the search domains
/// of resolv.conf(5). Never fails; TRY_AGAIN after `limit`.
Pending<HostAnswer> startHostQuery(EventLoop& loop, const std::string& name,
                                   std::chrono::milliseconds limit);

/// IPv4 addresses of a host, found as by tolk_gethostbyname_r; empty when there is none, for
/// whatever reason. Never fails.
Pending<std::vector<in_addr>> startHostLookup(
    EventLoop& loop, const std::string& name,
    std::chrono::milliseconds limit = configuredLimit(PN::VELKD_DNS_RESPONSE_MAXTIME));

/// A name as messages show it: at most 255 bytes of it.
std::string shownName(const std::string& name);

}  // namespace tolk
