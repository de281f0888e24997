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
  DnsAnswer domain;  ///< to _ldap._tcp.DOMAIN SRV
  Asked tcp;         ///< a connection to its TCP port 53

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("address", self.address);
    visit("domain", self.domain);
    visit("tcp", self.tcp);
  }
};

struct Resolver {
  Asked settings;  ///< reading resolv.conf
  std::vector<std::string> search;
  std::vector<NameServer> servers;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("settings", self.settings);
    visit("search", self.search);
    visit("servers", self.servers);
  }
};

}  // namespace joinscope::facts
