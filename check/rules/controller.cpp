// The domain's controllers: who answers, as what, how soon.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "check/rule.h"
#include "check/rules/network_words.h"
#include "tolk/net/netlogon.h"

namespace joinscope::check {
namespace {

using facts::Controller;
using facts::Endpoint;
using facts::Facts;

bool has(const Endpoint& endpoint, std::uint32_t role) {
  return (endpoint.roles & role) != 0;
}

/// The endpoints whose netlogon ping was answered.
std::vector<std::pair<const Controller*, const Endpoint*>> pinged(const Facts& facts) {
  std::vector<std::pair<const Controller*, const Endpoint*>> found;
  for (const Controller* controller : domainControllers(facts)) {
    const Endpoint* endpoint = controller->best();
    if (endpoint != nullptr && endpoint->ping.answered()) found.emplace_back(controller, endpoint);
  }
  return found;
}

/// Those that do not serve, by what was heard of them.
struct Dead {
  std::vector<std::string> silent;
  std::vector<std::string> closed;  ///< the host lives and refuses every port
  double seconds = 0;               ///< of the longest silence

  void take(const Controller& controller);
  [[nodiscard]] std::size_t count() const { return silent.size() + closed.size(); }
  [[nodiscard]] std::string text() const;
};

void Dead::take(const Controller& controller) {
  const Endpoint& endpoint = *controller.best();
  (endpoint.heard() ? closed : silent).push_back(placeText(controller, endpoint));
  for (const facts::Port& port : endpoint.ports) seconds = std::max(seconds, port.asked.seconds);
}

std::string Dead::text() const {
  std::string text;
  if (!silent.empty()) {
    text = listText(silent) + (seconds > 0 ? " (no port within " + secondsText(seconds) + ")" : "");
  }
  if (!closed.empty()) {
    text += (text.empty() ? "" : "; ") + listText(closed) + " (every port is closed)";
  }
  return text;
}

Verdict judgeAnswers(const Facts& facts) {
  Dead dead;
  std::size_t alive = 0;
  std::size_t unasked = 0;
  for (const Controller* controller : domainControllers(facts)) {
    if (controller->endpoints.empty()) continue;
    if (serves(*controller)) {
      ++alive;
    } else if (!wasAsked(*controller)) {
      ++unasked;
    } else if (staleText(facts, *controller).empty()) {
      dead.take(*controller);
    }
  }
  const std::size_t all = alive + dead.count();
  if (dead.count() == 0) {
    if (alive == 0) return unknown("No controller was asked.");
    return unasked > 0 ? unknown("Not every controller was asked.")
                       : fine(countText(alive, "controller") + " answered");
  }
  const std::string who =
      all == 1 ? "The only controller"
               : std::to_string(dead.count()) + " of " + std::to_string(all) + " controllers";
  const std::string text =
      who + (dead.count() == 1 ? " does" : " do") + " not answer: " + dead.text() + ".";
  if (alive > 0) {
    return warning(text + " Programs that try them first wait.",
                   {"dig _ldap._tcp." + facts.join.domain + " SRV",
                    "Mend them, or take them out of DNS if they are gone for good."});
  }
  return broken(text, {"ping -c 3 " + domainControllers(facts).front()->name,
                       "Look at the controllers, and at firewalls and routes on the way to them."});
}

Verdict judgeRoles(const Facts& facts) {
  constexpr std::uint32_t kLdap = tolk::NetlogonFlag::kLdap;
  constexpr std::uint32_t kKdc = tolk::NetlogonFlag::kKdc;
  const auto all = pinged(facts);
  if (all.empty()) return unknown("No controller has said what it does.");
  std::vector<std::string> lacking;
  for (const auto& [controller, endpoint] : all) {
    if (has(*endpoint, kLdap) && has(*endpoint, kKdc)) continue;
    lacking.push_back(controller->name + " (no " + (has(*endpoint, kLdap) ? "Kerberos" : "LDAP") +
                      ")");
  }
  if (lacking.empty()) return fine();
  const std::string text =
      "By its own word a controller does not serve: " + listText(lacking) + ".";
  const std::vector<std::string> next{"nltest /dsgetdc:" + facts.join.domain + " /force",
                                      "Look at its services, and at its SYSVOL."};
  return lacking.size() == all.size() ? broken(text, next) : warning(text, next);
}

Verdict judgeWritable(const Facts& facts) {
  const auto all = pinged(facts);
  if (all.empty()) return unknown("No controller has said what it does.");
  const bool writable = std::ranges::any_of(
      all, [](const auto& one) { return has(*one.second, tolk::NetlogonFlag::kWritable); });
  if (writable) return fine();
  return warning("Only read-only controllers answer here (" + all.front().first->name +
                     "): this host's password cannot be changed, and no host be joined.",
                 {"Open the way to a writable controller."});
}

Verdict judgeReplicated(const Facts& facts) {
  bool told = false;
  for (const auto& [controller, endpoint] : pinged(facts)) {
    told = told || endpoint->replicated.has_value();
    if (endpoint->replicated.value_or(true)) continue;
    return warning(controller->name +
                       " has not finished its first replication (isSynchronized is FALSE): it "
                       "may not know this host yet.",
                   {"repadmin /showrepl " + controller->name});
  }
  return told ? fine() : unknown("No controller has said so.");
}

/// Names of levels (MS-ADTS 6.1.4.3).
const char* levelName(long level) {
  constexpr const char* kNames[] = {"Windows 2000",    "Windows 2003 interim", "Windows 2003",
                                    "Windows 2008",    "Windows 2008 R2",      "Windows 2012",
                                    "Windows 2012 R2", "Windows 2016"};
  constexpr long kNewest = 10;
  if (level == kNewest) return "Windows 2025";
  return level >= 0 && level < std::ssize(kNames) ? kNames[level] : nullptr;
}

Verdict judgeLevel(const Facts& facts) {
  for (const auto& [controller, endpoint] : pinged(facts)) {
    const std::string& text = endpoint->functionalLevel;
    if (text.empty()) continue;
    const long level = std::strtol(text.c_str(), nullptr, 10);
    const char* name = levelName(level);
    if (name == nullptr) return fine("Functional level " + text + ", newer than this program");
    constexpr long kWithAes = 3;
    if (level >= kWithAes) return fine(std::string("Functional level of ") + name);
    return warning(std::string("The domain has the functional level of ") + name +
                       ": its Kerberos has no AES keys, and today's libraries refuse the others.",
                   {"Raise the domain functional level."});
  }
  return unknown("No controller has told the domain's functional level.");
}

Verdict judgeTime(const Facts& facts) {
  constexpr double kSlow = 1;
  const auto all = pinged(facts);
  for (const auto& [controller, endpoint] : all) {
    const facts::Port* ldap = endpoint->port("ldap", "tcp");
    if (ldap == nullptr || !ldap->asked.answered() || !(ldap->asked.seconds > kSlow)) continue;
    return warning(placeText(*controller, *endpoint) + " took " + secondsText(ldap->asked.seconds) +
                       " for the smallest question.",
                   {"ping -c 3 " + endpoint->address, "Look at its load, and at the line to it."});
  }
  return all.empty() ? unknown("No controller has answered.") : fine();
}

constexpr Rule kRules[] = {
    {.id = "dc.answers",
     .title = "The controllers answer",
     .needs = "dns.ldap dns.addresses dns.stale",
     .judge = judgeAnswers,
     .looksAt = "All ports of each controller that DNS, the site or the join settings name.",
     .wrong = "All are silent: nothing works. Some are: programs that try them first wait.",
     .remedy = "Mend them, or take them out of DNS.",
     .source = "MS-ADTS 6.3.3"},
    {.id = "dc.roles",
     .title = "The controllers serve LDAP and Kerberos by their own word",
     .needs = "dc.answers",
     .judge = judgeRoles,
     .looksAt = "The flags of the netlogon ping's answer.",
     .wrong =
         "A controller that is starting, or whose SYSVOL is not shared, says that it does not.",
     .remedy = "Look at the controller's services.",
     .source = "MS-ADTS 6.3.1.2"},
    {.id = "dc.writable",
     .title = "A writable controller answers",
     .needs = "dc.answers",
     .judge = judgeWritable,
     .looksAt = "The flags of the netlogon ping's answer.",
     .wrong = "Only read-only controllers do: passwords cannot be changed.",
     .remedy = "Open the way to a writable controller.",
     .source = "MS-ADTS 6.3.1.2"},
    {.id = "dc.replicated",
     .title = "The controllers know the directory",
     .needs = "dc.answers",
     .judge = judgeReplicated,
     .looksAt = "isSynchronized of the root DSE.",
     .wrong = "A new controller has not finished its first replication.",
     .remedy = "Look at its replication.",
     .source = "MS-ADTS 3.1.1.3.2.16"},
    {.id = "dc.level",
     .title = "The domain's functional level has AES keys",
     .needs = "dc.answers",
     .judge = judgeLevel,
     .looksAt = "domainFunctionality of the root DSE.",
     .wrong = "Older than Windows 2008: RC4 and DES are all it has.",
     .remedy = "Raise the domain functional level.",
     .source = "MS-ADTS 6.1.4.3"},
    {.id = "dc.time",
     .title = "The controllers answer at once",
     .needs = "dc.answers",
     .judge = judgeTime,
     .looksAt = "How long a read of the root DSE takes.",
     .wrong = "More than a second.",
     .remedy = "Look at the controller's load and the line to it.",
     .source = "ping(8)"},
};

}  // namespace

std::span<const Rule> controllerRules() {
  return kRules;
}

}  // namespace joinscope::check
