// The host itself: its name, hosts(5), the name service switch, room for logs.
#include <algorithm>
#include <string>

#include "check/rule.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using facts::Facts;

constexpr std::size_t kLongestName = 15;  // NetBIOS names, MS-ADTS 3.1.1.4.5 sAMAccountName

std::string firstLabel(const std::string& name) {
  return name.substr(0, name.find('.'));
}

Verdict judgeName(const Facts& facts) {
  const std::string& name = facts.host.name;
  const std::string label = firstLabel(name);
  if (name.empty() || label == "localhost") {
    return broken("This host is called \"" + name + "\": every host that nobody named is.",
                  {"hostnamectl set-hostname NAME." + facts.join.domain});
  }
  const std::string joined = facts.join.joinedHost;
  if (!joined.empty() && !tolk::equalsIgnoringCase(firstLabel(joined), label)) {
    return warning("This host is called " + name + " now, but was joined as " + joined +
                       ". What uses the host name asks for keys that the keytab does not have.",
                   {"hostnamectl set-hostname " + joined, "or join again under the new name."});
  }
  const bool judgedElsewhere = facts.run.joining || !facts.join.account.empty();  // joining.name
  if (label.size() > kLongestName && !judgedElsewhere) {
    const std::string cut = tolk::toUpper(label).substr(0, kLongestName);
    return warning("The host name " + label + " has " + std::to_string(label.size()) +
                       " characters; a computer account has at most 15. Cut, it is " + cut +
                       ", which another host may have as well.",
                   {"join with --computer-name and a name of your choice, or rename the host."});
  }
  return fine("Name " + name);
}

/// Whether the line is about this host's own name.
bool namesHost(const facts::HostsLine& line, const std::string& host) {
  const std::string label = firstLabel(host);
  return std::ranges::any_of(line.names, [&](const std::string& name) {
    return tolk::equalsIgnoringCase(name, host) || tolk::equalsIgnoringCase(name, label);
  });
}

bool isLoopback(const std::string& address) {
  return address.starts_with("127.") || address == "::1";
}

/// A line that gives a controller other addresses than DNS: nobody finds it in DNS.
Verdict judgeControllerLine(const Facts& facts, const facts::HostsLine& line) {
  for (const facts::Controller& controller : facts.network.controllers) {
    const bool named = std::ranges::any_of(line.names, [&](const std::string& name) {
      return tolk::equalsIgnoringCase(name, controller.name);
    });
    if (!named) continue;
    return warning("/etc/hosts gives the controller " + controller.name + " the address " +
                       line.address + ": what DNS says of it does not count on this host.",
                   {"take the line out of /etc/hosts unless it is meant."});
  }
  return fine();
}

Verdict judgeHostsFile(const Facts& facts) {
  const std::string& own = facts.join.joinedHost.empty() ? facts.host.name : facts.join.joinedHost;
  for (const facts::HostsLine& line : facts.host.hostsFile) {
    const bool present =
        std::ranges::find(facts.host.addresses, line.address) != facts.host.addresses.end();
    if (namesHost(line, own) && !present && !isLoopback(line.address)) {
      return warning("/etc/hosts gives this host's name the address " + line.address +
                         ", which no interface has.",
                     {"correct that line of /etc/hosts."});
    }
    if (Verdict verdict = judgeControllerLine(facts, line); verdict.grade != Grade::fine) {
      return verdict;
    }
  }
  return fine();
}

/// The place of a source; the number of sources when it is missing.
std::ptrdiff_t placeOf(const std::vector<std::string>& sources, std::string_view prefix) {
  return std::ranges::find_if(
             sources, [&](const std::string& source) { return source.starts_with(prefix); }) -
         sources.begin();
}

Verdict judgeSwitch(const Facts& facts) {
  const std::vector<std::string>& sources = facts.host.hostsSources;
  if (sources.empty()) return fine("No hosts line in /etc/nsswitch.conf: files, then DNS");
  const auto end = static_cast<std::ptrdiff_t>(sources.size());
  const std::ptrdiff_t dns = std::min(placeOf(sources, "dns"), placeOf(sources, "resolve"));
  if (dns == end) {
    return broken(
        "/etc/nsswitch.conf has no dns in its hosts line: kinit, ssh and SSSD find no "
        "controller by name.",
        {"hosts: files dns", "in /etc/nsswitch.conf."});
  }
  const std::ptrdiff_t mdns = placeOf(sources, "mdns");
  const bool local = facts.join.domain.ends_with(".local");
  if (mdns < dns && local) {
    return broken(
        "The domain ends in .local, and /etc/nsswitch.conf asks multicast DNS first: "
        "names of the domain never reach its name servers.",
        {"put dns before " + sources[static_cast<std::size_t>(mdns)] +
         " in the hosts line of /etc/nsswitch.conf."});
  }
  const std::ptrdiff_t stop = placeOf(sources, "[");
  if (stop < dns && mdns >= dns) {
    return warning("The hosts line of /etc/nsswitch.conf may end before dns, at " +
                       sources[static_cast<std::size_t>(stop)] + ".",
                   {"put dns before it."});
  }
  return fine();
}

bool isIpv6(const std::string& address) {
  return address.find(':') != std::string::npos;
}

Verdict judgeFamily(const Facts& facts) {
  if (facts.host.addresses.empty()) {
    return broken("No interface of this host has an address.", {"ip address"});
  }
  if (std::ranges::all_of(facts.host.addresses, isIpv6)) {
    return warning("This host has IPv6 addresses only, and the agent asks controllers by IPv4.",
                   {"give it an IPv4 address as well."});
  }
  return fine();
}

Verdict judgeRoom(const Facts& facts) {
  constexpr std::int64_t kLeast = std::int64_t{16} << 20;
  constexpr std::int64_t kLeastFiles = 100;
  for (const facts::Room& room : facts.host.room) {
    if (!room.asked.answered()) continue;
    const bool full = room.freeBytes < kLeast;
    if (!full && room.freeFiles >= kLeastFiles) continue;
    return warning(room.folder + " has " +
                       (full ? std::to_string(room.freeBytes >> 10) + " KiB left"
                             : std::to_string(room.freeFiles) + " files left") +
                       ": tickets, keys and logs cannot be written.",
                   {"df -h " + room.folder + "; df -i " + room.folder});
  }
  return fine();
}

constexpr Rule kRules[] = {
    {.id = "host.name",
     .title = "The host name can be an account's name",
     .needs = "",
     .judge = judgeName,
     .looksAt = "The host name, and the name that this host was joined as.",
     .wrong = "Called localhost, renamed after the join, or over 15 characters: the account has "
              "another name than people expect, or one that two hosts share.",
     .remedy = "Set the host name, then join again where it has changed.",
     .source = "hostname(5); MS-ADTS 3.1.1.4.5"},
    {.id = "host.hosts-file",
     .title = "/etc/hosts says nothing against DNS",
     .needs = "",
     .judge = judgeHostsFile,
     .looksAt = "The lines of /etc/hosts about this host and about the controllers.",
     .wrong = "A line with an old address outlives its host; DNS is right and nobody asks it.",
     .remedy = "Correct /etc/hosts.",
     .source = "hosts(5)"},
    {.id = "host.nsswitch",
     .title = "Programs on this host ask DNS for names",
     .needs = "",
     .judge = judgeSwitch,
     .looksAt = "The hosts line of /etc/nsswitch.conf and the domain's last label.",
     .wrong = "dns is missing, or something before it ends the search: joincheck, which asks DNS "
              "itself, reaches the domain, kinit does not.",
     .remedy = "hosts: files dns",
     .source = "nsswitch.conf(5); RFC 6762, 3"},
    {.id = "host.ipv6",
     .title = "This host has an address of a family that the controllers have",
     .needs = "",
     .judge = judgeFamily,
     .looksAt = "The addresses of this host's interfaces.",
     .wrong = "No address, or IPv6 alone where the controllers are asked by IPv4.",
     .remedy = "Configure an address.",
     .source = "ip-address(8)"},
    {.id = "host.space",
     .title = "There is room for logs and tickets",
     .needs = "",
     .judge = judgeRoom,
     .looksAt = "Free bytes and files below /var and /tmp.",
     .wrong = "Less than 16 MiB or 100 files.",
     .remedy = "Make room.",
     .source = "statvfs(3)"},
};

}  // namespace

std::span<const Rule> hostRules() {
  return kRules;
}

}  // namespace joinscope::check
