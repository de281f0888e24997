// The site in which the controllers place this host.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "check/rules/network_words.h"
#include "tolk/base/text.h"
#include "tolk/net/controller_records.h"

namespace joinscope::check {
namespace {

using facts::Facts;

/// Whether any controller has said where this host is, if only that it is nowhere.
bool told(const Facts& facts) {
  return std::ranges::any_of(facts.network.controllers, [](const facts::Controller& controller) {
    return std::ranges::any_of(controller.endpoints, [](const facts::Endpoint& endpoint) {
      return endpoint.ping.answered();
    });
  });
}

/// A network of the usual size around this host's first IPv4 address.
std::string subnetOf(const Facts& facts) {
  for (const std::string& address : facts.host.addresses) {
    const std::size_t dot = address.rfind('.');
    if (dot != std::string::npos) return address.substr(0, dot) + ".0/24";
  }
  return "NETWORK/BITS";
}

/// The joined site, else that of a controller which answers.
std::string someSite(const Facts& facts) {
  if (!facts.join.site.empty()) return facts.join.site;
  for (const facts::Controller& controller : facts.network.controllers) {
    const facts::Endpoint* endpoint = controller.best();
    if (endpoint != nullptr && !endpoint->site.empty()) return endpoint->site;
  }
  return "SITE";
}

Verdict judgeSubnet(const Facts& facts) {
  if (!told(facts)) return unknown("No controller has said where this host is.");
  if (!facts.network.site.empty()) return fine("Site " + facts.network.site);
  return warning("No subnet of the directory covers this host's address (" +
                     listText(facts.host.addresses) +
                     "): it belongs to no site, and any controller of the domain may be chosen, "
                     "however far.",
                 {"samba-tool sites subnet create " + subnetOf(facts) + " " + someSite(facts),
                  "on a controller, with the network and site as they are; on Windows "
                  "New-ADReplicationSubnet."});
}

Verdict judgeControllers(const Facts& facts) {
  const std::string& site = facts.network.site;
  if (site.empty()) {
    return told(facts) ? notMeant("This host is in no site.")
                       : unknown("No controller has said where this host is.");
  }
  const std::string service = "_ldap._tcp." + tolk::siteLabel(site) + "._sites";
  const facts::ServiceRecords* records = facts.network.recordsOf(service);
  if (records == nullptr || !records->asked.answered()) {
    return unknown("The controllers of the site " + site + " were not asked for.");
  }
  if (!records->targets.empty()) return fine(listText(records->targets));
  return warning("DNS names no controller for this host's site " + site + " (" + records->name +
                     ", " + records->status + "): others are used, however far.",
                 {"dig " + records->name + " SRV",
                  "Let a controller of a near site cover it, or move one there."});
}

Verdict judgeJoined(const Facts& facts) {
  const std::string& joined = facts.join.site;
  const std::string& present = facts.network.site;
  if (joined.empty()) return notMeant("The join settings record no site.");
  if (present.empty()) {
    return told(facts) ? notMeant("No subnet covers this host.")
                       : unknown("No controller has said where this host is.");
  }
  if (tolk::equalsIgnoringCase(joined, present)) return fine();
  return warning("The join settings record the site " + joined +
                     ", but the controllers place "
                     "this host in " +
                     present + ": the agent prefers controllers of " + joined + ".",
                 {"velkd adopt", "records the present one; or put the subnet of this host into " +
                                     joined + ", where it belongs there."});
}

constexpr Rule kRules[] = {
    {.id = "site.subnet",
     .title = "A subnet of the directory covers this host",
     .needs = "dc.answers",
     .judge = judgeSubnet,
     .looksAt = "The client's site in the netlogon ping's answer.",
     .wrong = "None: controllers are chosen without regard to distance.",
     .remedy = "Create the subnet in the directory.",
     .source = "MS-ADTS 6.1.1.2.2"},
    {.id = "site.controllers",
     .title = "This host's site has a controller",
     .needs = "site.subnet dns.ldap",
     .judge = judgeControllers,
     .looksAt = "SRV records _ldap._tcp.SITE._sites.DOMAIN.",
     .wrong = "None: neither one there, nor one that covers it.",
     .remedy = "Let a controller of a near site cover it.",
     .source = "MS-ADTS 6.3.2.3"},
    {.id = "site.join",
     .title = "The joined site is still this host's",
     .needs = "dc.answers",
     .judge = judgeJoined,
     .looksAt = "The site in the join settings, and that of the netlogon ping's answer.",
     .wrong = "The host has moved: the agent prefers controllers of the old site.",
     .remedy = "velkd adopt",
     .source = "velkd(8)"},
};

}  // namespace

std::span<const Rule> siteRules() {
  return kRules;
}

}  // namespace joinscope::check
