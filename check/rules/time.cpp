// This clock against the controllers', and theirs against one another.
#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "check/rule.h"
#include "check/rules/network_words.h"

namespace joinscope::check {
namespace {

using facts::Controller;
using facts::Endpoint;
using facts::Facts;

constexpr double kRefused = 300;  // what Kerberos allows, RFC 4120, 1.6
constexpr double kWorth = 60;     // worth a warning
constexpr double kNoticed = 2;    // more than what whole seconds and a slow line explain

/// How far this clock is ahead of one controller's.
struct Offset {
  const Controller* controller = nullptr;
  const Endpoint* endpoint = nullptr;
  double ahead = 0;
};

/// The time service measures the way there and back, the directory's answer is as old as its way
/// was long: of an offset that this explains nothing is left.
std::optional<double> aheadOf(const Endpoint& endpoint) {
  if (!endpoint.ldapAhead) return endpoint.ntpAhead;
  const facts::Port* ldap = endpoint.port("ldap", "tcp");
  const double way = ldap == nullptr ? 0 : std::max(ldap->asked.seconds, 0.0);
  const double least = *endpoint.ldapAhead - way;
  if (endpoint.ntpAhead && *endpoint.ntpAhead >= least - 1 &&
      *endpoint.ntpAhead <= *endpoint.ldapAhead + 1) {
    return endpoint.ntpAhead;
  }
  return least > 0 ? least : std::min(*endpoint.ldapAhead, 0.0);
}

std::vector<Offset> offsets(const Facts& facts) {
  std::vector<Offset> found;
  for (const Controller* controller : domainControllers(facts)) {
    const Endpoint* endpoint = controller->best();
    if (endpoint == nullptr) continue;
    const std::optional<double> ahead = aheadOf(*endpoint);
    if (ahead && std::isfinite(*ahead)) found.push_back({controller, endpoint, *ahead});
  }
  return found;
}

std::string by(const Endpoint& endpoint) {
  std::string text;
  if (endpoint.ldapAhead) text = "LDAP " + secondsText(*endpoint.ldapAhead);
  if (endpoint.ntpAhead)
    text += (text.empty() ? "NTP " : ", NTP ") + secondsText(*endpoint.ntpAhead);
  return text;
}

std::string aheadText(const Offset& offset) {
  return secondsText(std::abs(offset.ahead)) + (offset.ahead < 0 ? " behind " : " ahead of ") +
         offset.controller->name + " (" + by(*offset.endpoint) + ")";
}

bool nearer(const Offset& left, const Offset& right) {
  return std::abs(left.ahead) < std::abs(right.ahead);
}

/// Where any controller agrees with this clock, the others are wrong: see time.controllers.
Verdict judgeOffset(const Facts& facts) {
  const std::vector<Offset> all = offsets(facts);
  if (all.empty()) return unknown("No controller has told its time.");
  const Offset& best = *std::ranges::min_element(all, nearer);
  const double size = std::abs(best.ahead);
  if (size <= kWorth) return fine("This clock is " + aheadText(best));
  const std::string leads = facts.host.clockSource.answered() && !facts.host.synchronised
                                ? " No time service leads it."
                                : "";
  const std::vector<std::string> next{
      "chronyc makestep", "Kerberos refuses 300 s. Let chrony follow " + best.controller->name +
                              ": server " + best.controller->name + " iburst in chrony.conf."};
  const std::string text = "This clock is " + aheadText(best) + "." + leads;
  return size > kRefused ? broken(text, next) : warning(text, next);
}

Verdict judgeControllers(const Facts& facts) {
  std::vector<Offset> all = offsets(facts);
  if (all.empty()) return unknown("No controller has told its time.");
  for (const Offset& one : all) {
    const Endpoint& endpoint = *one.endpoint;
    if (!endpoint.ldapAhead || !endpoint.ntpAhead) continue;
    if (!(std::abs(*endpoint.ldapAhead - *endpoint.ntpAhead) > kWorth)) continue;
    return warning("The directory and the time service of " + one.controller->name +
                       " differ about the time (this clock is ahead by " + by(endpoint) + ").",
                   {"w32tm /stripchart /computer:" + one.controller->name});
  }
  if (all.size() < 2) return fine("One controller has told its time");
  const auto [low, high] = std::ranges::minmax_element(all, {}, &Offset::ahead);
  if (high->ahead - low->ahead <= kWorth) return fine();
  return warning(
      "The controllers' clocks differ by " + secondsText(high->ahead - low->ahead) +
          ": this clock is " + aheadText(*low) + ", but " + aheadText(*high) +
          (high->ahead - low->ahead > kRefused ? ". Tickets of one are refused by the other."
                                               : "."),
      {"w32tm /monitor /domain:" + facts.join.domain});
}

Verdict judgeHost(const Facts& facts) {
  if (!facts.host.clockSource.answered()) return unknown("The kernel was not asked.");
  if (facts.host.synchronised) return fine();
  const std::vector<Offset> all = offsets(facts);
  if (all.empty()) return unknown("No controller has told its time.");
  const Offset& best = *std::ranges::min_element(all, nearer);
  const double size = std::abs(best.ahead);
  // Further away it is told by time.offset; and a clock that is right needs nobody to lead it.
  if (size <= kNoticed || size > kWorth) return fine("No time service leads it");
  return warning("No time service leads this clock, and it is " + aheadText(best) + " already.",
                 {"systemctl enable --now chrony"});
}

constexpr Rule kRules[] = {
    {.id = "time.offset",
     .title = "This clock is the domain's",
     .needs = "dc.answers",
     .judge = judgeOffset,
     .looksAt = "currentTime of each controller's root DSE, and its time service.",
     .wrong = "More than 300 s: Kerberos refuses every ticket, unless a library corrects for it "
              "in silence. More than 60 s: it is on the way there.",
     .remedy = "Let chrony follow a controller.",
     .source = "RFC 4120, 1.6; MS-KILE 3.1.5.2"},
    {.id = "time.controllers",
     .title = "The controllers agree on the time",
     .needs = "dc.answers",
     .judge = judgeControllers,
     .looksAt = "The same, of one controller against the other, and LDAP against NTP.",
     .wrong = "They differ by more than 60 s.",
     .remedy = "Mend the controller's clock.",
     .source = "RFC 4120, 1.6"},
    {.id = "time.host",
     .title = "This clock is led, or right",
     .needs = "time.offset",
     .judge = judgeHost,
     .looksAt = "Whether the kernel says that a time service leads the clock.",
     .wrong = "None does, and it has begun to drift.",
     .remedy = "Run chrony.",
     .source = "adjtimex(2)"},
};

}  // namespace

std::span<const Rule> timeRules() {
  return kRules;
}

}  // namespace joinscope::check
