// The ports of those controllers that answer: closed at all of them a service is gone, closed at
// some it is a warning.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/network_words.h"
#include "tolk/net/netlogon.h"

namespace joinscope::check {
namespace {

using facts::Controller;
using facts::Endpoint;
using facts::Facts;
using facts::Port;

/// What a service's absence means.
struct Service {
  const char* name;
  const char* transport;
  Grade gone;          ///< where no controller has it
  const char* effect;  ///< what does not work then
  const char* look;    ///< a command that shows it, the address in place of @; "" for a connection
};

/// The ports of one service at the controllers that serve anything.
struct Ports {
  std::size_t open = 0;
  std::vector<std::string> closed;  ///< each with place and how it ended
  std::string address;              ///< of the first closed one
  std::int64_t port = 0;
};

Ports portsOf(const Facts& facts, const Service& service) {
  Ports ports;
  for (const Controller* controller : domainControllers(facts)) {
    const Endpoint* endpoint = controller->best();
    if (endpoint == nullptr || !serves(*endpoint)) continue;
    const Port* port = endpoint->port(service.name, service.transport);
    if (port == nullptr || !port->asked.asked()) continue;
    if (port->asked.answered()) {
      ++ports.open;
      continue;
    }
    ports.closed.push_back(controller->name + " (" + endText(port->asked) + ")");
    if (!ports.address.empty()) continue;
    ports.address = endpoint->address;
    ports.port = port->port;
  }
  return ports;
}

std::string lookCloser(const Service& service, const Ports& ports) {
  const std::string look = service.look;
  if (look.empty()) {
    return "timeout 3 bash -c '</dev/tcp/" + ports.address + "/" + std::to_string(ports.port) +
           "' && echo open";
  }
  const std::size_t place = look.find('@');
  return place == std::string::npos
             ? look
             : look.substr(0, place) + ports.address + look.substr(place + 1);
}

Verdict judgePort(const Facts& facts, const Service& service) {
  const Ports ports = portsOf(facts, service);
  if (ports.closed.empty()) {
    return ports.open > 0 ? fine() : unknown("No controller was asked.");
  }
  const std::string port = std::to_string(ports.port) + "/" + service.transport;
  const std::vector<std::string> next{lookCloser(service, ports),
                                      "Open port " + port +
                                          " on the way to the controllers, and "
                                          "see that the service runs there."};
  const std::string text =
      "Port " + port + " (" + service.name + ") is not served by " + listText(ports.closed);
  if (ports.open > 0) return warning(text + "; by others it is.", next);
  return {.grade = service.gone, .text = text + ": " + service.effect + ".", .next = next};
}

/// The ports for TLS, for information: not every domain has certificates, nothing here needs them.
std::string tlsText(const Facts& facts) {
  std::string text;
  for (const char* service : {"ldaps", "gcs"}) {
    const Ports ports = portsOf(
        facts,
        {.name = service, .transport = "tcp", .gone = Grade::fine, .effect = "", .look = ""});
    const std::string port = std::string_view(service) == "ldaps" ? "636" : "3269";
    text += (text.empty() ? "" : ", ") + port + (ports.open > 0 ? " open" : " not open");
  }
  return "By TLS: " + text;
}

Verdict judgeLdap(const Facts& facts) {
  Verdict verdict = judgePort(facts, {.name = "ldap",
                                      .transport = "tcp",
                                      .gone = Grade::broken,
                                      .effect = "the directory cannot be read",
                                      .look = "ldapsearch -x -H ldap://@ -s base currentTime"});
  if (verdict.grade == Grade::fine) verdict.text = tlsText(facts);
  return verdict;
}
Verdict judgeLdapUdp(const Facts& facts) {
  return judgePort(facts, {.name = "ldap",
                           .transport = "udp",
                           .gone = Grade::warning,
                           .effect = "SSSD, realmd and Samba ask there for this host's site and "
                                     "for who answers soonest; they go on without, or wait first",
                           .look = "net ads lookup -S @"});
}
Verdict judgeKdc(const Facts& facts) {
  const Ports udp = portsOf(
      facts,
      {.name = "kerberos", .transport = "udp", .gone = Grade::broken, .effect = "", .look = ""});
  return judgePort(facts,
                   {.name = "kerberos",
                    .transport = "tcp",
                    .gone = Grade::broken,
                    .effect = udp.open > 0 ? "nobody can log in whose ticket is too big for UDP"
                                           : "nobody can log in",
                    .look = ""});
}
Verdict judgeKdcUdp(const Facts& facts) {
  return judgePort(facts, {.name = "kerberos",
                           .transport = "udp",
                           .gone = Grade::warning,
                           .effect = "Kerberos libraries that begin by UDP wait a second or more "
                                     "at every login",
                           .look = "KRB5_TRACE=/dev/stderr kinit -k"});
}
Verdict judgeKpasswd(const Facts& facts) {
  return judgePort(facts, {.name = "kpasswd",
                           .transport = "tcp",
                           .gone = Grade::broken,
                           .effect = "no password can be changed, this host's own neither",
                           .look = ""});
}
Verdict judgeSmb(const Facts& facts) {
  return judgePort(facts, {.name = "smb",
                           .transport = "tcp",
                           .gone = Grade::warning,
                           .effect = "winbind cannot log users in, and group policies are not read",
                           .look = ""});
}
Verdict judgeNtp(const Facts& facts) {
  return judgePort(facts, {.name = "ntp",
                           .transport = "udp",
                           .gone = Grade::warning,
                           .effect = "clocks cannot follow the domain's",
                           .look = "chronyd -Q 'server @ iburst'"});
}

/// Of those alone that are catalogs by their own word or by DNS.
Verdict judgeCatalog(const Facts& facts) {
  std::vector<std::string> closed;
  std::size_t open = 0;
  std::string address;
  for (const Controller& controller : facts.network.controllers) {
    const Endpoint* endpoint = controller.best();
    if (endpoint == nullptr) continue;
    const Port* port = endpoint->port("gc", "tcp");
    if (port == nullptr || !port->asked.asked()) continue;
    if (port->asked.answered()) {
      ++open;
      continue;
    }
    const bool catalog = controller.source == "catalog" ||
                         (endpoint->roles & tolk::NetlogonFlag::kGlobalCatalog) != 0;
    if (!catalog) continue;
    if (closed.empty()) address = endpoint->address;
    closed.push_back(controller.name + " (" + endText(port->asked) + ")");
  }
  if (closed.empty()) return open > 0 ? fine() : unknown("No global catalog was asked.");
  const std::string text =
      "The global catalog, port 3268/tcp, is not served by " + listText(closed);
  const std::vector<std::string> next{
      "timeout 3 bash -c '</dev/tcp/" + address + "/3268' && echo open",
      "Open port 3268 on the way to the global catalogs."};
  if (open > 0) return warning(text + "; by others it is.", next);
  return broken(text + ": users and groups of other domains are not found.", next);
}

constexpr char kNeeds[] = "dc.answers";
constexpr char kFirewall[] = "Open the port on the way, and see that the service runs.";

constexpr Rule kRules[] = {
    {.id = "dc.ldap",
     .title = "LDAP answers by TCP",
     .needs = kNeeds,
     .judge = judgeLdap,
     .looksAt = "A read of the root DSE at port 389 of each controller that answers at all.",
     .wrong = "Closed, or open and mute.",
     .remedy = kFirewall,
     .source = "RFC 4511; MS-ADTS 3.1.1.3.2"},
    {.id = "dc.ldap-udp",
     .title = "LDAP answers by UDP",
     .needs = "dc.answers",
     .judge = judgeLdapUdp,
     .looksAt = "The netlogon ping at port 389 by UDP.",
     .wrong = "Filtered: programs do not learn their site, or wait before they go on.",
     .remedy = kFirewall,
     .source = "MS-ADTS 6.3.3"},
    {.id = "dc.kdc",
     .title = "Kerberos answers by TCP",
     .needs = kNeeds,
     .judge = judgeKdc,
     .looksAt = "A request for a ticket to nobody at port 88; no account is charged with it.",
     .wrong = "Closed, or what answers is no key distribution center.",
     .remedy = kFirewall,
     .source = "RFC 4120, 7.2.2"},
    {.id = "dc.kdc-udp",
     .title = "Kerberos answers by UDP",
     .needs = "dc.answers dc.kdc",
     .judge = judgeKdcUdp,
     .looksAt = "The same request by UDP.",
     .wrong = "Filtered: logins wait for it before they go on by TCP.",
     .remedy = kFirewall,
     .source = "RFC 4120, 7.2.1"},
    {.id = "dc.kpasswd",
     .title = "The password service accepts connections",
     .needs = kNeeds,
     .judge = judgeKpasswd,
     .looksAt = "A connection to port 464.",
     .wrong = "Closed: kpasswd, and the change of this host's own password, fail.",
     .remedy = kFirewall,
     .source = "RFC 3244"},
    {.id = "dc.smb",
     .title = "The controllers' file service answers",
     .needs = kNeeds,
     .judge = judgeSmb,
     .looksAt = "An SMB 2 negotiation at port 445.",
     .wrong = "Closed: winbind and group policies do not work.",
     .remedy = kFirewall,
     .source = "MS-SMB2 2.2.3"},
    {.id = "dc.gc",
     .title = "A global catalog answers",
     .needs = kNeeds,
     .judge = judgeCatalog,
     .looksAt = "A read of the root DSE at port 3268 of every global catalog.",
     .wrong = "Closed: users of other domains, and groups across domains, are not found.",
     .remedy = kFirewall,
     .source = "MS-ADTS 3.1.1.3.1.10"},
    {.id = "dc.ntp",
     .title = "The controllers tell the time",
     .needs = kNeeds,
     .judge = judgeNtp,
     .looksAt = "A question by NTP to each controller.",
     .wrong = "Closed, or the controller's own clock follows nobody.",
     .remedy = kFirewall,
     .source = "RFC 4330"},
};

}  // namespace

std::span<const Rule> portRules() {
  return kRules;
}

}  // namespace joinscope::check
