// The name servers of resolv.conf(5), each asked alone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "facts/asked.h"

namespace joinscope::facts {

/// What one name server said to one question. An answer may be that there is no such record.
struct DnsAnswer {
  Asked asked;
  std::string status;                ///< "NOERROR", "NXDOMAIN", "SERVFAIL" ... (RFC 1035, 4.1.1)
  std::vector<std::string> records;  ///< as text, in alphabetical order
  bool truncated = false;            ///< the answer by UDP was cut

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("asked", self.asked);
    visit("status", self.status);
    visit("records", self.records);
    visit("truncated", self.truncated);
  }
};

struct NameServer {
  std::string address;
  DnsAnswer domain;        ///< to _ldap._tcp.DOMAIN SRV
  DnsAnswer zone;          ///< to DOMAIN SOA: the primary server, also that of a zone above
  Asked tcp;               ///< the second question by TCP
  Asked ping;              ///< a netlogon ping, as if it were a controller too
  std::string controller;  ///< the name that it answered with; "" for none

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("address", self.address);
    visit("domain", self.domain);
    visit("zone", self.zone);
    visit("tcp", self.tcp);
    visit("ping", self.ping);
    visit("controller", self.controller);
  }
};

struct Resolver {
  Asked settings;  ///< reading resolv.conf
  std::vector<std::string> search;
  std::int64_t timeout = 0;   ///< seconds that a program waits for a server before the next
  std::int64_t attempts = 0;  ///< how often it goes through all of them
  std::vector<NameServer> servers;
  std::string used;  ///< the server that all else was asked of: the first that knows the domain

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("settings", self.settings);
    visit("search", self.search);
    visit("timeout", self.timeout);
    visit("attempts", self.attempts);
    visit("servers", self.servers);
    visit("used", self.used);
  }
};

}  // namespace joinscope::facts
