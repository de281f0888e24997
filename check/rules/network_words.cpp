// Numbers may be absurd and lists empty: a facts file is anybody's.
#include "check/rules/network_words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

#include "tolk/base/text.h"

namespace joinscope::check {

using facts::Asked;
using facts::Controller;
using facts::Endpoint;
using facts::Facts;

namespace {

std::string digits(double value, int precision) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::fixed, precision);
  return end.ec == std::errc() ? std::string(text.data(), end.ptr) : "very many";
}

}  // namespace

std::string secondsText(double seconds) {
  const double size = std::abs(seconds);
  if (size < 0.995) return digits(seconds, 2) + " s";
  if (size < 60) return digits(seconds, 1) + " s";
  std::string text = digits(seconds, 0) + " s";
  if (size >= 600) text += " (" + digits(seconds / 60, 0) + " min)";
  return text;
}

std::string listText(const std::vector<std::string>& items) {
  constexpr std::size_t kMost = 4;
  const std::size_t shown = std::min(items.size(), kMost);
  std::string text;
  for (std::size_t i = 0; i < shown; ++i) {
    const bool last = i + 1 == items.size();
    text += (i == 0 ? "" : last ? " and " : ", ") + items[i];
  }
  if (items.size() > shown) text += " and " + std::to_string(items.size() - shown) + " more";
  return text;
}

std::string countText(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string endText(const Asked& asked) {
  switch (asked.outcome) {
    case facts::Outcome::notAsked:
      return "not asked";
    case facts::Outcome::answered:
      return "answered";
    default:
      break;
  }
  if (!asked.reason.empty()) return asked.reason;
  return asked.outcome == facts::Outcome::silent ? "no answer in " + secondsText(asked.seconds)
                                                 : "refused";
}

std::string placeText(const Controller& controller, const Endpoint& endpoint) {
  if (controller.name == endpoint.address) return controller.name;
  return controller.name + " (" + endpoint.address + ")";
}

std::string servingController(const Facts& facts) {
  for (const Controller* controller : domainControllers(facts)) {
    if (serves(*controller)) return controller->name;
  }
  return {};
}

namespace {

/// Whom to tell of a change in the domain's DNS: a controller that serves, else a name server that
/// is one, by its address, for its name may be what is wrong.
std::string dnsMaster(const Facts& facts) {
  std::string found = servingController(facts);
  for (const facts::NameServer& server : facts.resolver.servers) {
    if (found.empty() && !server.controller.empty()) found = server.address;
  }
  return found.empty() ? "SERVER" : found;
}

}  // namespace

std::string dnsCommand(const Facts& facts, const std::string& action, const std::string& name,
                       const std::string& rest) {
  const std::string& domain = facts.join.domain;
  const bool inside = name.ends_with("." + domain);
  const std::string label = inside ? name.substr(0, name.size() - domain.size() - 1) : name;
  return "samba-tool dns " + action + " " + dnsMaster(facts) + " " + domain + " " + label + " " +
         rest + " -U Administrator";
}

bool serves(const Endpoint& endpoint) {
  return endpoint.ping.answered() ||
         std::ranges::any_of(endpoint.ports,
                             [](const facts::Port& port) { return port.asked.answered(); });
}

bool wasAsked(const Endpoint& endpoint) {
  return endpoint.ping.asked() || std::ranges::any_of(endpoint.ports, [](const facts::Port& port) {
           return port.asked.asked();
         });
}

bool serves(const Controller& controller) {
  return std::ranges::any_of(controller.endpoints,
                             [](const Endpoint& endpoint) { return serves(endpoint); });
}

bool wasAsked(const Controller& controller) {
  return std::ranges::any_of(controller.endpoints,
                             [](const Endpoint& endpoint) { return wasAsked(endpoint); });
}

std::vector<const Endpoint*> deadEndpoints(const Controller& controller) {
  std::vector<const Endpoint*> dead;
  for (const Endpoint& endpoint : controller.endpoints) {
    if (!serves(endpoint) && wasAsked(endpoint)) dead.push_back(&endpoint);
  }
  return dead;
}

std::vector<const Controller*> domainControllers(const Facts& facts) {
  std::vector<const Controller*> found;
  for (const Controller& controller : facts.network.controllers) {
    if (controller.source != "catalog") found.push_back(&controller);
  }
  return found;
}

namespace {

/// Somebody answers there who is no controller of this domain, or another one.
std::string strangerText(const Facts& facts, const Controller& controller) {
  for (const Endpoint& endpoint : controller.endpoints) {
    const std::string there = endpoint.address + " answers ";
    if (endpoint.ping.outcome == facts::Outcome::refused && endpoint.ping.code <= 0) {
      return there + "as no controller of " + facts.join.domain + " (" + endpoint.ping.reason + ")";
    }
    if (!endpoint.ping.answered()) continue;
    if (!tolk::equalsIgnoringCase(endpoint.domain, facts.join.domain)) {
      return there + "as " + endpoint.host + ", a controller of " + endpoint.domain;
    }
    const bool named = controller.name == endpoint.address ||
                       tolk::equalsIgnoringCase(controller.name, endpoint.host);
    if (!named) return there + "as " + endpoint.host;
  }
  return {};
}

/// The controller answers, but not at an address that it is said to have.
std::string elsewhereText(const Facts& facts, const Controller& controller) {
  std::vector<std::string> dead;
  std::string alive;
  for (const Endpoint* endpoint : deadEndpoints(controller)) {
    const std::string source = endpoint->source == "DNS" ? "" : " (" + endpoint->source + ")";
    dead.push_back(endpoint->address + source);
  }
  for (const Endpoint& endpoint : controller.endpoints) {
    if (serves(endpoint)) alive = endpoint.address;
  }
  for (const facts::NameServer& server : facts.resolver.servers) {
    const bool same = tolk::equalsIgnoringCase(server.controller, controller.name);
    if (alive.empty() && same && server.ping.answered()) alive = server.address;
  }
  if (dead.empty() || alive.empty()) return {};
  return "nobody serves at " + listText(dead) + ", while " + controller.name + " answers at " +
         alive;
}

}  // namespace

std::string staleText(const Facts& facts, const Controller& controller) {
  const std::string stranger = strangerText(facts, controller);
  return stranger.empty() ? elsewhereText(facts, controller) : stranger;
}

}  // namespace joinscope::check
