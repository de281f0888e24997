// Names and addresses in DNS against what is there: the controllers', and this host's own.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/network_words.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using facts::Controller;
using facts::DnsAnswer;
using facts::Endpoint;
using facts::Facts;

bool isIpv6(const std::string& address) {
  return address.find(':') != std::string::npos;
}
bool isIpv4(const std::string& address) {
  return !address.empty() && address.find_first_not_of("0123456789.") == std::string::npos;
}

Verdict judgeAddresses(const Facts& facts) {
  std::vector<std::string> without;
  std::string first;
  std::size_t known = 0;
  for (const Controller& controller : facts.network.controllers) {
    if (!controller.endpoints.empty()) {
      ++known;
    } else if (controller.lookup.asked.answered()) {
      const std::vector<std::string>& records = controller.lookup.records;
      const bool six = std::ranges::any_of(records, isIpv6);
      if (first.empty()) first = controller.name;
      without.push_back(controller.name + (six ? " (IPv6 only: " + listText(records) + ")"
                                               : " (" + controller.lookup.status + ")"));
    }
  }
  if (without.empty())
    return known > 0 ? fine() : unknown("No controller's address was asked for.");
  const std::string text = "DNS names " + listText(without) +
                           " as controller, but gives no address" + " that this host can use.";
  const std::vector<std::string> next{
      "dig " + first + " A",
      "Give it its address record, or take a controller that is gone out of the service records."};
  return known == 0 ? broken(text, next) : warning(text, next);
}

/// How to mend the first wrong address: the record, where nobody serves, else a look at who does.
std::vector<std::string> staleNext(const Facts& facts, const Controller& controller) {
  const auto dead = deadEndpoints(controller);
  if (dead.empty()) return {"dig " + controller.name + " A", "Correct the record."};
  const Endpoint& endpoint = *dead.front();
  if (endpoint.source == "/etc/hosts") {
    return {"sed -i '/^" + endpoint.address + "[ \t]/d' /etc/hosts"};
  }
  const auto elsewhere =
      std::ranges::find(facts.resolver.servers, controller.name, &facts::NameServer::controller);
  if (!serves(controller) && elsewhere != facts.resolver.servers.end()) {
    return {dnsCommand(facts, "update", controller.name,
                       "A " + endpoint.address + " " + elsewhere->address),
            "on Windows Set-DnsServerResourceRecord."};
  }
  return {dnsCommand(facts, "delete", controller.name, "A " + endpoint.address),
          "if it is gone for good; on Windows Remove-DnsServerResourceRecord."};
}

Verdict judgeStale(const Facts& facts) {
  std::vector<std::string> stale;
  bool served = false;
  const Controller* first = nullptr;
  for (const Controller* controller : domainControllers(facts)) {
    const std::string text = staleText(facts, *controller);
    served = served || (serves(*controller) && text.empty());
    if (text.empty()) continue;
    if (first == nullptr) first = controller;
    stale.push_back(controller->name + " has a wrong address: " + text);
  }
  if (first == nullptr) return served ? fine() : unknown("No controller has answered.");
  const std::string text = listText(stale) + ".";
  const std::vector<std::string> next = staleNext(facts, *first);
  // An address too many beside a good one costs time; where there is no other, nothing works.
  const bool works = served || std::ranges::any_of(domainControllers(facts),
                                                   [](const auto* one) { return serves(*one); });
  return works ? warning(text, next) : broken(text, next);
}

Verdict judgeOwn(const Facts& facts) {
  const DnsAnswer& own = facts.network.ownAddresses;
  const std::string& name = facts.network.ownName;
  if (facts.run.joining)
    return notMeant("This host is to be joined; its record may come with that.");
  if (!own.asked.answered()) return unknown(name + ": " + endText(own.asked));
  if (own.status != "NOERROR" && own.status != "NXDOMAIN") {
    return unknown("The name server answers " + own.status + " for " + name);
  }
  const auto next = [&](const std::string& action, const std::string& old) {
    const std::vector<std::string>& all = facts.host.addresses;
    const std::string present = all.empty() ? "ADDRESS" : all.front();
    return std::vector<std::string>{dnsCommand(facts, action, name, "A " + old + present),
                                    "on Windows Set-DnsServerResourceRecord; or let SSSD's "
                                    "dyndns_update or the DHCP server keep it."};
  };
  if (own.records.empty()) {
    return warning("DNS has no address of " + name + " (" + own.status +
                       "): others do not find this host by its name.",
                   next("add", ""));
  }
  std::vector<std::string> wrong;
  for (const std::string& address : own.records) {
    const std::vector<std::string>& here = facts.host.addresses;
    if (std::ranges::find(here, address) == here.end()) wrong.push_back(address);
  }
  if (wrong.empty() || facts.host.addresses.empty())
    return fine(name + " is " + listText(own.records));
  return warning("DNS says that " + name + " is " + listText(wrong) +
                     ", which no interface of this host has (" + listText(facts.host.addresses) +
                     "): others reach somebody else, or nobody.",
                 next("update", wrong.front() + " "));
}

Verdict judgeOwnPointer(const Facts& facts) {
  const std::string& name = facts.network.ownName;
  const std::vector<DnsAnswer>& pointers = facts.network.ownPointers;
  const std::vector<std::string>& addresses = facts.host.addresses;
  bool asked = false;
  bool named = false;
  for (std::size_t i = 0; i < std::min(pointers.size(), addresses.size()); ++i) {
    asked = asked || pointers[i].asked.answered();
    const std::vector<std::string>& names = pointers[i].records;
    const bool own = std::ranges::any_of(
        names, [&](const std::string& one) { return tolk::equalsIgnoringCase(one, name); });
    named = named || own;
    if (names.empty() || own || facts.run.joining) continue;
    return warning("DNS says that the address " + addresses[i] + " of this host is " +
                       listText(names) + ", not " + name +
                       ": programs that look names up by address ask for keys of that name.",
                   {"dig -x " + addresses[i], "Correct the PTR record."});
  }
  if (!asked) return unknown("No PTR record of this host was asked for.");
  return named ? fine() : fine("This host's addresses have no PTR record; nothing needs one");
}

Verdict judgePointers(const Facts& facts) {
  if (!facts.kerberos.config.reverseNames) return notMeant("rdns is off in krb5.conf.");
  bool asked = false;
  for (const Controller* controller : domainControllers(facts)) {
    for (const Endpoint& endpoint : controller->endpoints) {
      asked = asked || endpoint.pointer.answered();
      const std::vector<std::string>& names = endpoint.reverseNames;
      const std::string own = isIpv4(controller->name) ? endpoint.host : controller->name;
      const bool same = std::ranges::any_of(
          names, [&](const std::string& one) { return tolk::equalsIgnoringCase(one, own); });
      if (names.empty() || same || own.empty()) continue;
      if (!serves(endpoint) || !staleText(facts, *controller).empty()) continue;
      const facts::HostWay& way = facts.kerberos.hostWay;
      if (way.ticket.answered() && tolk::equalsIgnoringCase(way.controller, own)) continue;
      return warning("DNS says that the address " + endpoint.address + " of " + controller->name +
                         " is " + listText(names) +
                         ", and rdns is on in krb5.conf: Kerberos asks for tickets to that name, "
                         "which the directory may not know.",
                     {"dig -x " + endpoint.address,
                      "rdns = false in [libdefaults] of /etc/krb5.conf; or correct the record."});
    }
  }
  return asked ? fine() : unknown("No PTR record of a controller was asked for.");
}

constexpr Rule kRules[] = {
    {.id = "dns.addresses",
     .title = "Every controller in DNS has an address",
     .needs = "dns.ldap",
     .judge = judgeAddresses,
     .looksAt = "A records (AAAA where there is none) of every host that the service records name.",
     .wrong =
         "A controller was taken down and its service records were left, or its own is missing.",
     .remedy = "Mend the records.",
     .source = "RFC 2782"},
    {.id = "dns.stale",
     .title = "At the controllers' addresses are the controllers",
     .needs = "dns.addresses",
     .judge = judgeStale,
     .looksAt = "Who answers the netlogon ping at each address of each controller, and at the name "
                "servers' addresses.",
     .wrong = "A controller got a new address and the record still has the old one.",
     .remedy = "Correct the address record.",
     .source = "MS-ADTS 6.3.3"},
    {.id = "dns.own",
     .title = "DNS has this host's address",
     .needs = "resolver.answers resolver.domain join.domain",
     .judge = judgeOwn,
     .looksAt = "A and AAAA records of this host's full name, and its interfaces.",
     .wrong = "Missing, or an address that this host had once: others reach somebody else.",
     .remedy = "Let the host update its record.",
     .source = "RFC 2136"},
    {.id = "dns.own-ptr",
     .title = "DNS names this host by its address",
     .needs = "resolver.answers",
     .judge = judgeOwnPointer,
     .looksAt = "PTR records of this host's IPv4 addresses.",
     .wrong = "They name another host.",
     .remedy = "Correct the PTR record.",
     .source = "RFC 1035, 3.5"},
    {.id = "dns.dc-ptr",
     .title = "The controllers' PTR records name them, or nobody looks",
     .needs = "resolver.answers krb.rdns",
     .judge = judgePointers,
     .looksAt = "rdns of krb5.conf, and the PTR records of the controllers' addresses.",
     .wrong = "They name another host, for whose services the directory has no key.",
     .remedy = "rdns = false in krb5.conf.",
     .source = "krb5.conf(5)"},
};

}  // namespace

std::span<const Rule> dnsNameRules() {
  return kRules;
}

}  // namespace joinscope::check
