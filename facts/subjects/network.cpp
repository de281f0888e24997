// One loop for everything about the network; what is known goes to the facts every so often.
#include "facts/subjects/network.h"

#include <algorithm>
#include <chrono>

#include "facts/domain_survey.h"
#include "facts/resolver_survey.h"
#include "tolk/base/property_names.h"
#include "tolk/net/limits.h"

namespace joinscope::facts {
namespace {

constexpr std::chrono::milliseconds kTick{100};
constexpr std::chrono::milliseconds kMostPatience{3000};

}  // namespace

bool Endpoint::heard() const {
  const auto spoke = [](const Asked& asked) {
    return asked.outcome == Outcome::answered || asked.outcome == Outcome::refused;
  };
  return spoke(ping) ||
         std::ranges::any_of(ports, [&](const Port& port) { return spoke(port.asked); });
}

const Port* Endpoint::port(const std::string& service, const std::string& transport) const {
  const auto found = std::ranges::find_if(ports, [&](const Port& port) {
    return port.service == service && port.transport == transport;
  });
  return found == ports.end() ? nullptr : &*found;
}

const Endpoint* Controller::best() const {
  if (endpoints.empty()) return nullptr;
  auto found = std::ranges::find_if(
      endpoints, [](const Endpoint& endpoint) { return endpoint.ping.answered(); });
  if (found == endpoints.end()) found = std::ranges::find_if(endpoints, &Endpoint::heard);
  return found == endpoints.end() ? &endpoints.front() : &*found;
}

const ServiceRecords* Network::recordsOf(const std::string& service) const {
  const auto found = std::ranges::find(records, service, &ServiceRecords::service);
  return found == records.end() ? nullptr : &*found;
}

void askNetwork(const Question& question, const Facts& local, const Publish& publish) {
  Waits waits;
  const auto limit = std::min(tolk::configuredLimit(tolk::PN::NET_CONNECT_TIMEOUT), kMostPatience);
  DnsQuestions dns(waits, limit);
  const Inquiry inquiry{.waits = waits, .dns = dns, .limit = limit};
  Resolver resolver;
  DomainSurvey domain(inquiry, question, local);
  ResolverSurvey servers(inquiry, local.join.domain, resolver,
                         [&domain](const std::string& server) { domain.askDns(server); });
  const auto tell = [&] {
    publish([&](Facts& facts) {
      facts.resolver = resolver;
      facts.network = domain.network();
    });
  };
  servers.start();
  tell();
  if (local.join.domain.empty()) return;
  domain.start();
  while (!waits.run(Waits::Clock::now() + kTick)) tell();
  tell();
}

}  // namespace joinscope::facts
