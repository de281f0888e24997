// The name servers of resolv.conf(5): who answers, who knows the domain, whether they agree.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/network_words.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using facts::Facts;
using facts::NameServer;

constexpr char kFile[] = "/etc/resolv.conf";

bool answers(const NameServer& server) {
  return server.domain.asked.answered() || server.zone.asked.answered();
}
bool dead(const NameServer& server) {
  return server.domain.asked.asked() && !answers(server);
}
/// It says that the domain's records do not exist, or are none: resolvers believe that and ask
/// nobody else.
bool denies(const NameServer& server) {
  const std::string& status = server.domain.status;
  return server.domain.asked.answered() && server.domain.records.empty() &&
         (status == "NXDOMAIN" || status == "NOERROR");
}
bool knows(const NameServer& server) {
  return !server.domain.records.empty();
}
/// The reason begins with the server's address, mostly.
std::string deadText(const NameServer& server) {
  const std::string end = endText(server.domain.asked);
  return end.starts_with(server.address) ? end : server.address + " (" + end + ")";
}
bool isLoopback(const std::string& address) {
  return address.starts_with("127.") || address == "::1";
}

/// How to look closer at what this server says.
std::string dig(const Facts& facts, const NameServer& server) {
  return "dig @" + server.address + " _ldap._tcp." + facts.join.domain + " SRV";
}

std::string behindStub(const NameServer& server) {
  return isLoopback(server.address)
             ? " It is a stub on this host: resolvectl status shows whom it asks."
             : "";
}

Verdict judgeAnswers(const Facts& facts) {
  const std::vector<NameServer>& servers = facts.resolver.servers;
  if (facts.resolver.settings.asked() && !facts.resolver.settings.answered()) {
    return broken(std::string(kFile) + " cannot be read: " + facts.resolver.settings.reason,
                  {std::string("ls -l ") + kFile});
  }
  if (servers.empty()) {
    if (!facts.resolver.settings.asked()) return unknown("The name servers were not asked.");
    return broken(std::string(kFile) + " names no name server.", {"nameserver ADDRESS in it."});
  }
  std::vector<std::string> silent;
  for (const NameServer& server : servers) {
    if (dead(server)) silent.push_back(deadText(server));
  }
  const bool unasked = std::ranges::any_of(
      servers, [](const NameServer& server) { return !dead(server) && !answers(server); });
  if (silent.size() == servers.size()) {
    return broken(
        "No name server of " + std::string(kFile) + " answers: " + listText(silent) +
            ". No name is found, the controllers' among them.",
        {"dig @" + servers.front().address + " " + facts.join.domain,
         "Correct the nameserver lines of " + std::string(kFile) + ", or what makes that file."});
  }
  if (silent.empty()) return unasked ? unknown("Not every name server was asked.") : fine();
  if (!dead(servers.front())) {
    return warning("Of " + countText(servers.size(), "name server") +
                       " not all answer: " + listText(silent) + ": nobody steps in for the others.",
                   {"take it out of " + std::string(kFile) + ", or mend it."});
  }
  return warning("The first name server does not answer: " + listText(silent) + ". Programs wait " +
                     std::to_string(facts.resolver.timeout) +
                     " s for it at every lookup before they ask the next.",
                 {"dig @" + servers.front().address + " " + facts.join.domain,
                  "Take it out of " + std::string(kFile) + ", or put it last."});
}

/// Who answers first is believed, also when he does not know the domain.
Verdict judgeDenial(const Facts& facts, const NameServer& wrong, bool first, bool known) {
  const bool zone = wrong.zone.status == "NOERROR" && !wrong.zone.records.empty();
  const std::string by = zone ? " (" + wrong.domain.status + "; for it the word of " +
                                    wrong.zone.records.front() + " counts)"
                              : " (" + wrong.domain.status + ")";
  const std::string text = "This host asks the name server " + wrong.address +
                           ", which does not know " + facts.join.domain + by + ".";
  if (!first) {
    return warning("The name server " + wrong.address + " does not know " + facts.join.domain + by +
                       ": whenever it is asked, no controller is found.",
                   {"take it out of " + std::string(kFile) + "."});
  }
  const std::string other =
      known ? "Put " + facts.resolver.used + ", which knows it, first in " + kFile + "."
            : "Name the domain's own name servers, mostly its controllers, in " +
                  std::string(kFile) + ".";
  return broken(text + behindStub(wrong), {dig(facts, wrong), other});
}

Verdict judgeDomain(const Facts& facts) {
  if (facts.join.domain.empty()) return unknown("There is no domain to ask for.");
  const std::vector<NameServer>& servers = facts.resolver.servers;
  const auto firstToAnswer = std::ranges::find_if(servers, answers);
  if (firstToAnswer == servers.end()) return unknown("No name server has answered.");
  const bool known = std::ranges::any_of(servers, knows);
  for (auto server = firstToAnswer; server != servers.end(); ++server) {
    if (!denies(*server)) continue;
    // Where nobody has the records, but the domain's own servers say so, the records are missing.
    const bool own = server->zone.status == "NOERROR" && !known;
    if (!own) return judgeDenial(facts, *server, server == firstToAnswer, known);
  }
  for (const NameServer& server : servers) {
    if (!server.domain.asked.answered() || knows(server) || denies(server)) continue;
    const std::string text = "The name server " + server.address + " answers " +
                             server.domain.status + " when asked for " + facts.join.domain + ".";
    if (known) return warning(text + " Another one knows the domain.", {dig(facts, server)});
    return broken(text + behindStub(server),
                  {dig(facts, server),
                   "It cannot reach the domain's own servers, or will not serve "
                   "this host."});
  }
  return fine("Known to " + facts.resolver.used);
}

Verdict judgeSame(const Facts& facts) {
  const NameServer* first = nullptr;
  for (const NameServer& server : facts.resolver.servers) {
    if (!knows(server)) continue;
    if (first == nullptr) {
      first = &server;
      continue;
    }
    const auto missing = [](const NameServer& from, const NameServer& to) {
      std::vector<std::string> lost = from.domain.records;
      std::erase_if(lost, [&to](const std::string& record) {
        return std::ranges::find(to.domain.records, record) != to.domain.records.end();
      });
      return lost.empty() ? std::string()
                          : " " + from.address + " alone names " + listText(lost) + ".";
    };
    const std::string difference = missing(*first, server) + missing(server, *first);
    if (difference.empty()) continue;
    return warning(
        "The name servers differ about the controllers of " + facts.join.domain + "." + difference,
        {dig(facts, server), "A copy of the zone is old: look at its serial number."});
  }
  return first == nullptr ? unknown("No name server has named the controllers.") : fine();
}

Verdict judgeTcp(const Facts& facts) {
  bool asked = false;
  for (const NameServer& server : facts.resolver.servers) {
    if (!answers(server) || !server.tcp.asked()) continue;
    asked = true;
    const bool cut = server.domain.truncated;
    if (cut && !server.domain.asked.answered()) {
      return broken("The name server " + server.address +
                        " cuts its answer about the controllers by UDP, and gives none by TCP: " +
                        endText(server.domain.asked) + ".",
                    {"dig +tcp @" + server.address + " " + facts.join.domain + " SOA",
                     "Open TCP port 53 to it."});
    }
    if (server.tcp.answered()) continue;
    return warning("The name server " + server.address + " does not answer by TCP (" +
                       endText(server.tcp) +
                       "): an answer that is too long for UDP does not get through.",
                   {"dig +tcp @" + server.address + " " + facts.join.domain + " SOA",
                    "Open TCP port 53 to it."});
  }
  return asked ? fine() : unknown("No name server was asked by TCP.");
}

Verdict judgeStub(const Facts& facts) {
  const auto stub = std::ranges::find_if(
      facts.resolver.servers, [](const NameServer& server) { return isLoopback(server.address); });
  if (stub == facts.resolver.servers.end()) return notMeant("No stub resolver is asked.");
  if (facts.join.domain.ends_with(".local") && !knows(*stub) && answers(*stub)) {
    return broken("The stub resolver " + stub->address + " does not know " + facts.join.domain +
                      ": names that end in .local belong to multicast DNS for it.",
                  {"resolvectl domain INTERFACE '~" + facts.join.domain + "'"});
  }
  return fine("The stub " + stub->address + " is asked");
}

Verdict judgeSearch(const Facts& facts) {
  const std::string& domain = facts.join.domain;
  const std::vector<std::string>& search = facts.resolver.search;
  if (domain.empty()) return unknown("There is no domain to look for.");
  if (std::ranges::any_of(search, [&](const std::string& entry) {
        return tolk::equalsIgnoringCase(entry, domain);
      })) {
    return fine();
  }
  const bool whole = facts.host.name.find('.') != std::string::npos;
  const std::string full = facts.host.name + "." + domain;
  const bool inFile = std::ranges::any_of(facts.host.hostsFile, [&](const facts::HostsLine& line) {
    return std::ranges::any_of(
        line.names, [&](const std::string& name) { return tolk::equalsIgnoringCase(name, full); });
  });
  if (whole || inFile || facts.run.joining) return fine("Not needed: this host's name is whole");
  return warning("The host name " + facts.host.name + " has no domain, and " + kFile +
                     " does not search in " + domain + ": programs do not find out that this is " +
                     full + ", for which the keytab has keys.",
                 {"hostname --fqdn",
                  "search " + domain + " in " + kFile + ", or " + full + " in /etc/hosts."});
}

constexpr Rule kRules[] = {
    {.id = "resolver.answers",
     .title = "The name servers answer",
     .needs = "",
     .judge = judgeAnswers,
     .looksAt = "Each name server of /etc/resolv.conf, asked alone by UDP.",
     .wrong =
         "All are silent: nothing is found. The first is: every lookup of every program waits.",
     .remedy = "Correct /etc/resolv.conf, or what writes it.",
     .source = "resolv.conf(5)"},
    {.id = "resolver.domain",
     .title = "The name servers know the domain",
     .needs = "resolver.answers join.domain",
     .judge = judgeDomain,
     .looksAt = "What each says of _ldap._tcp.DOMAIN and of the domain itself.",
     .wrong =
         "A router's or provider's name server says that there is no such domain; the C library "
         "believes the first that answers and asks nobody else.",
     .remedy = "Name the domain's own name servers in /etc/resolv.conf, and no others.",
     .source = "resolv.conf(5); RFC 2308"},
    {.id = "resolver.same",
     .title = "The name servers say the same",
     .needs = "resolver.domain",
     .judge = judgeSame,
     .looksAt = "The controllers that each names.",
     .wrong = "They differ: what works depends on who is asked.",
     .remedy = "Look at the zone's serial number on each.",
     .source = "RFC 1034, 4.3.5"},
    {.id = "resolver.tcp",
     .title = "The name servers answer by TCP",
     .needs = "resolver.answers",
     .judge = judgeTcp,
     .looksAt = "The same question by TCP, and whether an answer by UDP was cut.",
     .wrong =
         "TCP port 53 is closed: long answers, as of a domain with many controllers, are lost.",
     .remedy = "Open TCP port 53 to the name servers.",
     .source = "RFC 7766"},
    {.id = "resolver.stub",
     .title = "The stub resolver passes questions on",
     .needs = "resolver.answers",
     .judge = judgeStub,
     .looksAt = "A name server of /etc/resolv.conf on this host itself.",
     .wrong = "It keeps names for itself that the domain's servers know.",
     .remedy = "resolvectl status",
     .source = "systemd-resolved.service(8)"},
    {.id = "resolver.search",
     .title = "This host's full name can be found out",
     .needs = "join.domain",
     .judge = judgeSearch,
     .looksAt = "The search list, the host name and /etc/hosts.",
     .wrong = "A bare host name and no search in the domain: services look for keys of a name that "
              "the keytab does not have.",
     .remedy = "Search in the domain, or give this host its full name in /etc/hosts.",
     .source = "hostname(1), resolv.conf(5)"},
};

}  // namespace

std::span<const Rule> resolverRules() {
  return kRules;
}

}  // namespace joinscope::check
