// Three questions and a ping to each server, all on their way together.
#include <arpa/inet.h>

#include <algorithm>
#include <utility>

#include "facts/resolver_survey.h"
#include "tolk/base/text.h"
#include "tolk/net/netlogon.h"
#include "tolk/net/resolver_settings.h"
#include "tolk/net/sockets.h"

namespace joinscope::facts {

ResolverSurvey::ResolverSurvey(const Inquiry& inquiry, std::string domain, Resolver& resolver,
                               std::function<void(const std::string& server)> choose)
    : inquiry_(inquiry),
      domain_(std::move(domain)),
      resolver_(resolver),
      choose_(std::move(choose)) {}

void ResolverSurvey::start() {
  tolk::ResolverSettings settings;
  resolver_.settings = facts::ask([&settings] { settings = tolk::readResolverSettings(); });
  resolver_.search = settings.searchDomains;
  resolver_.timeout = settings.timeout.count();
  resolver_.attempts = settings.attempts;
  for (const std::string& address : settings.servers) {
    resolver_.servers.push_back({.address = address});
  }
  if (domain_.empty()) return;
  open_ = resolver_.servers.size();
  for (NameServer& server : resolver_.servers) ask(server);
}

void ResolverSurvey::ask(NameServer& server) {
  const tolk::DnsQuestion records{
      .server = server.address, .name = "_ldap._tcp." + domain_, .type = tolk::DnsType::srv};
  inquiry_.dns.ask(records, [this, &server](DnsResult result) {
    server.domain = std::move(result.answer);
    --open_;
    consider();
  });
  tolk::DnsQuestion zone{.server = server.address, .name = domain_, .type = tolk::DnsType::soa};
  inquiry_.dns.ask(zone, [&server](DnsResult result) { server.zone = std::move(result.answer); });
  zone.transport = tolk::Transport::tcp;
  inquiry_.dns.ask(zone, [&server](const DnsResult& result) { server.tcp = result.answer.asked; });
  startPing(server);
}

void ResolverSurvey::startPing(NameServer& server) {
  in_addr binary{};
  if (::inet_pton(AF_INET, server.address.c_str(), &binary) != 1) return;
  inquiry_.waits.add(
      [&] {
        return tolk::startNetlogonPing(inquiry_.waits.loop(), tolk::Transport::udp,
                                       tolk::socketAddress(binary, 0), domain_, inquiry_.limit);
      },
      [&server](const Asked& asked, const tolk::NetlogonAnswer& answer) {
        server.ping = asked;
        server.controller = tolk::toLower(answer.host);
      },
      Patience::brief);
}

void ResolverSurvey::consider() {
  if (!resolver_.used.empty()) return;
  const auto knows = [](const NameServer& server) { return !server.domain.records.empty(); };
  const auto answers = [](const NameServer& server) { return server.domain.asked.answered(); };
  auto found = std::ranges::find_if(resolver_.servers, knows);
  if (found == resolver_.servers.end() && open_ == 0) {
    found = std::ranges::find_if(resolver_.servers, answers);
  }
  if (found == resolver_.servers.end()) return;
  resolver_.used = found->address;
  choose_(resolver_.used);
}

}  // namespace joinscope::facts
