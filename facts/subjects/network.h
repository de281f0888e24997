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
  std::string service;               ///< "_ldap._tcp", "_ldap._tcp.dc._msdcs", "_gc._tcp" ...
  std::string name;                  ///< "_ldap._tcp.lab.test"
  Asked asked;                       ///< "answered" without targets: there are no such records
  std::string status;                ///< as DnsAnswer's
  std::vector<std::string> targets;  ///< "dc1.lab.test:389", by priority and weight

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("service", self.service);
    visit("name", self.name);
    visit("asked", self.asked);
    visit("status", self.status);
    visit("targets", self.targets);
  }
};

/// One port of a controller.
struct Port {
  std::string service;  ///< "ldap", "kerberos", "kpasswd", "smb", "gc", "ldaps", "gcs", "ntp"
  std::int64_t port = 0;
  std::string transport;  ///< "tcp" or "udp"
  /// Answered: it behaved as its service does; kpasswd, ldaps and gcs are known by their
  /// connections alone.
  Asked asked;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("service", self.service);
    visit("port", self.port);
    visit("transport", self.transport);
    visit("asked", self.asked);
  }
};

/// One address of a controller.
struct Endpoint {
  std::string address;
  std::string source;                     ///< "DNS", "/etc/hosts", or "" where it is the name
  Asked pointer;                          ///< the question for its PTR records
  std::vector<std::string> reverseNames;  ///< their names
  Asked ping;        ///< the netlogon ping (MS-ADTS 6.3.3), by UDP or TCP, with what it says:
  std::string host;  ///< who answers there
  std::string domain;
  std::string forest;
  std::string site;                 ///< of who answers
  std::string clientSite;           ///< where it places this host; "" when no subnet covers it
  std::int64_t roles = 0;           ///< tolk::NetlogonFlag
  std::vector<Port> ports;          ///< beyond the twelfth controller those of LDAP alone
  std::optional<double> ldapAhead;  ///< seconds by which this clock is ahead of the directory's
  std::optional<double> ntpAhead;   ///< the same of its time service's
  std::optional<bool> replicated;   ///< isSynchronized: its first replication is finished
  std::string functionalLevel;      ///< domainFunctionality as the directory writes it

  /// Whether anything was heard from there, if only that a port is closed.
  [[nodiscard]] bool heard() const;
  [[nodiscard]] const Port* port(const std::string& service, const std::string& transport) const;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("address", self.address);
    visit("source", self.source);
    visit("pointer", self.pointer);
    visit("reverseNames", self.reverseNames);
    visit("ping", self.ping);
    visit("host", self.host);
    visit("domain", self.domain);
    visit("forest", self.forest);
    visit("site", self.site);
    visit("clientSite", self.clientSite);
    visit("roles", self.roles);
    visit("ports", self.ports);
    visit("ldapAhead", self.ldapAhead);
    visit("ntpAhead", self.ntpAhead);
    visit("replicated", self.replicated);
    visit("functionalLevel", self.functionalLevel);
  }
};

/// One controller or global catalog.
struct Controller {
  std::string name;
  std::string source;  ///< who names it: "DNS", "site", "catalog", "join settings", "--server"
  DnsAnswer lookup;    ///< of its addresses
  std::vector<Endpoint> endpoints;  ///< in the order in which programs try them; four at most

  /// The first endpoint whose directory answers, else the first that was heard of, else the first;
  /// null without any.
  [[nodiscard]] const Endpoint* best() const;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("name", self.name);
    visit("source", self.source);
    visit("lookup", self.lookup);
    visit("endpoints", self.endpoints);
  }
};

struct Network {
  std::vector<ServiceRecords> records;  ///< those of the site last
  DnsAnswer ownAddresses;               ///< A and AAAA records of this host's full name
  std::vector<DnsAnswer> ownPointers;   ///< PTR records, one answer for each IPv4 address
  std::string ownName;                  ///< that full name
  std::string site;                     ///< where the controllers place this host
  std::vector<Controller> controllers;

  /// The records of a service; null when nobody asked for them.
  [[nodiscard]] const ServiceRecords* recordsOf(const std::string& service) const;

  template <typename Self, typename Visit>
  static void fields(Self& self, Visit&& visit) {
    visit("records", self.records);
    visit("ownAddresses", self.ownAddresses);
    visit("ownPointers", self.ownPointers);
    visit("ownName", self.ownName);
    visit("site", self.site);
    visit("controllers", self.controllers);
  }
};

}  // namespace joinscope::facts
