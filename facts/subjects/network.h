// The domain as DNS and its controllers' ports show it to this host, without credentials.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "facts/asked.h"
#include "facts/subjects/resolver.h"

namespace joinscope::facts {

/// The service records of one name.
struct ServiceRecords {
  std::string name;                  ///< "_ldap._tcp.lab.test"
  Asked asked;                       ///< "answered" without targets: there are no such records
  std::vector<std::string> targets;  ///< "dc1.lab.test:389", by priority and weight

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("name", self.name);
    visit("asked", self.asked);
    visit("targets", self.targets);
  }
};

/// One port of a controller.
struct Port {
  std::string service;  ///< "ldap", "kerberos", "smb" ...
  std::int64_t port = 0;
  std::string transport;  ///< "tcp" or "udp"
  Asked asked;            ///< answered: it behaved as its service does

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("service", self.service);
    visit("port", self.port);
    visit("transport", self.transport);
    visit("asked", self.asked);
  }
};

/// One controller or global catalog.
struct Controller {
  std::string name;
  std::string source;  ///< where its name comes from: "DNS", "site", "join settings", "--server"
  Asked lookup;
  std::vector<std::string> addresses;
  std::string address;                    ///< that was asked
  std::vector<std::string> reverseNames;  ///< of that address by DNS
  std::vector<Port> ports;
  Asked ping;  ///< the netlogon ping (MS-ADTS 6.3.3), with what it says:
  std::string domain;
  std::string forest;
  std::string site;
  std::string clientSite;            ///< where it places this host; "" when no subnet covers it
  std::int64_t roles = 0;            ///< tolk::NetlogonFlag
  Asked rootDse;                     ///< reading its root DSE, with what it says:
  std::optional<double> ldapAhead;   ///< seconds by which this clock is ahead of the directory's
  std::optional<double> ntpAhead;    ///< the same of its time service's
  std::optional<bool> synchronised;  ///< isSynchronized
  std::string functionalLevel;       ///< domainFunctionality as the directory writes it

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("name", self.name);
    visit("source", self.source);
    visit("lookup", self.lookup);
    visit("addresses", self.addresses);
    visit("address", self.address);
    visit("reverseNames", self.reverseNames);
    visit("ports", self.ports);
    visit("ping", self.ping);
    visit("domain", self.domain);
    visit("forest", self.forest);
    visit("site", self.site);
    visit("clientSite", self.clientSite);
    visit("roles", self.roles);
    visit("rootDse", self.rootDse);
    visit("ldapAhead", self.ldapAhead);
    visit("ntpAhead", self.ntpAhead);
    visit("synchronised", self.synchronised);
    visit("functionalLevel", self.functionalLevel);
  }
};

struct Network {
  std::vector<ServiceRecords> records;
  ServiceRecords siteRecords;          ///< _ldap._tcp.SITE._sites.DOMAIN
  DnsAnswer ownAddresses;              ///< A and AAAA records of this host's full name
  std::vector<DnsAnswer> ownPointers;  ///< PTR records, one answer for each of its addresses
  std::vector<Controller> controllers;
  std::string chosen;  ///< the controller that discovery takes
  Asked discovery;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("records", self.records);
    visit("siteRecords", self.siteRecords);
    visit("ownAddresses", self.ownAddresses);
    visit("ownPointers", self.ownPointers);
    visit("controllers", self.controllers);
    visit("chosen", self.chosen);
    visit("discovery", self.discovery);
  }
};

}  // namespace joinscope::facts
