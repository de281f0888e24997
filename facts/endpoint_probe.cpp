// All of an endpoint's waits begin together; a port's row stands there, not asked, until it ends.
#include "facts/endpoint_probe.h"

#include <arpa/inet.h>

#include <chrono>
#include <utility>

#include "facts/servers.h"
#include "tolk/base/text.h"
#include "tolk/net/cldap.h"
#include "tolk/net/netlogon.h"
#include "tolk/net/probes.h"
#include "tolk/net/sockets.h"

namespace joinscope::facts {
namespace {

constexpr std::size_t kMostPorts = 12;
constexpr const char* kRootDseAttributes[] = {"currentTime", "isSynchronized",
                                              "domainFunctionality"};

struct PortPlan {
  const char* service;
  std::uint16_t port;
  const char* transport;
};
constexpr PortPlan kLdap{"ldap", 389, "tcp"};
constexpr PortPlan kLdapUdp{"ldap", 389, "udp"};
constexpr PortPlan kCatalog{"gc", 3268, "tcp"};

sockaddr_in addressOf(const Endpoint& endpoint, std::uint16_t port) {
  in_addr binary{};
  ::inet_pton(AF_INET, endpoint.address.c_str(), &binary);
  return tolk::socketAddress(binary, port);
}

/// A row of the endpoint; it stays where it is.
Port& addPort(Endpoint& endpoint, const PortPlan& plan) {
  endpoint.ports.reserve(kMostPorts);
  Port& port = endpoint.ports.emplace_back();
  port.service = plan.service;
  port.port = plan.port;
  port.transport = plan.transport;
  port.asked.reason = "its answer was not waited for";
  return port;
}

using ProbeStart = std::function<tolk::Pending<tolk::ProbeOutcome>(
    tolk::EventLoop&, const sockaddr_in&, std::chrono::milliseconds)>;

void probePort(const Inquiry& inquiry, Endpoint& endpoint, const PortPlan& plan,
               const ProbeStart& start, Patience patience = Patience::whole) {
  Port& port = addPort(endpoint, plan);
  const sockaddr_in address = addressOf(endpoint, plan.port);
  inquiry.waits.add([&] { return start(inquiry.waits.loop(), address, inquiry.limit); },
                    [&port](const Asked& asked, const tolk::ProbeOutcome& outcome) {
                      port.asked = asked.answered() ? ofProbe(outcome, asked.seconds) : asked;
                    },
                    patience);
}

void takePing(Endpoint& endpoint, const Asked& asked, const tolk::NetlogonAnswer& answer) {
  // The other transport's answer stands; a refusal says more than silence.
  if (endpoint.ping.answered()) return;
  if (!asked.answered() && endpoint.ping.outcome == Outcome::refused) return;
  endpoint.ping = asked;
  endpoint.host = tolk::toLower(answer.host);
  endpoint.domain = tolk::toLower(answer.domain);
  endpoint.forest = tolk::toLower(answer.forest);
  endpoint.site = answer.dcSite;
  endpoint.clientSite = answer.clientSite;
  endpoint.roles = answer.flags;
}

void startPing(const Inquiry& inquiry, const std::string& domain, tolk::Transport transport,
               Endpoint& endpoint, const std::function<void()>& pinged) {
  Port* const port = transport == tolk::Transport::udp ? &addPort(endpoint, kLdapUdp) : nullptr;
  const sockaddr_in address = addressOf(endpoint, kLdap.port);
  inquiry.waits.add(
      [&] {
        return tolk::startNetlogonPing(inquiry.waits.loop(), transport, address, domain,
                                       inquiry.limit);
      },
      [port, &endpoint, pinged](const Asked& asked, const tolk::NetlogonAnswer& answer) {
        takePing(endpoint, asked, answer);
        if (asked.answered()) pinged();
        if (port == nullptr) return;
        port->asked = asked;
        // A refusal of the question without an errno is an answer of the port.
        if (asked.outcome == Outcome::refused && asked.code <= 0) {
          port->asked.outcome = Outcome::answered;
        }
      });
}

using Entries = std::vector<tolk::CldapEntry>;

std::string attributeOf(const Entries& entries, const char* wanted) {
  for (const tolk::CldapEntry& entry : entries) {
    for (const auto& [name, values] : entry.attributes) {
      if (tolk::equalsIgnoringCase(name, wanted) && !values.empty()) return values.front();
    }
  }
  return {};
}

void takeRootDse(Endpoint& endpoint, const Entries& entries) {
  const std::string time = attributeOf(entries, kRootDseAttributes[0]);
  endpoint.ldapAhead = clockAhead(time, std::chrono::system_clock::now());
  const std::string replicated = attributeOf(entries, kRootDseAttributes[1]);
  if (!replicated.empty()) endpoint.replicated = tolk::equalsIgnoringCase(replicated, "TRUE");
  endpoint.functionalLevel = attributeOf(entries, kRootDseAttributes[2]);
}

void readRootDse(const Inquiry& inquiry, Endpoint& endpoint, const PortPlan& plan) {
  Port& port = addPort(endpoint, plan);
  const sockaddr_in address = addressOf(endpoint, plan.port);
  inquiry.waits.add(
      [&] {
        tolk::CldapRequest request;
        request.present = "objectClass";
        for (const char* name : kRootDseAttributes) request.attributes.emplace_back(name);
        return tolk::startStreamSearch(inquiry.waits.loop(), address, request, inquiry.limit);
      },
      [&port, &endpoint, directory = plan.port == kLdap.port](const Asked& asked,
                                                              const Entries& entries) {
        port.asked = asked;
        if (!asked.answered()) return;
        if (directory) takeRootDse(endpoint, entries);
        if (!entries.empty()) return;
        port.asked.outcome = Outcome::refused;
        port.asked.reason = "no root DSE is shown";
      });
}

void startNtp(const Inquiry& inquiry, Endpoint& endpoint) {
  constexpr PortPlan kTime{"ntp", 123, "udp"};
  Port& port = addPort(endpoint, kTime);
  const sockaddr_in address = addressOf(endpoint, kTime.port);
  inquiry.waits.add(
      [&] { return tolk::startNtpQuery(inquiry.waits.loop(), address, inquiry.limit); },
      [&port, &endpoint](const Asked& asked, const tolk::NtpAnswer& answer) {
        port.asked = asked;
        if (asked.answered()) endpoint.ntpAhead = answer.clockAhead;
      });
}

}  // namespace

void probeDirectory(const Inquiry& inquiry, const std::string& domain, Endpoint& endpoint,
                    const std::function<void()>& pinged) {
  if (endpoint.port(kLdap.service, kLdap.transport) != nullptr) return;
  readRootDse(inquiry, endpoint, kLdap);
  startPing(inquiry, domain, tolk::Transport::udp, endpoint, pinged);
  startPing(inquiry, domain, tolk::Transport::tcp, endpoint, pinged);
}

void probeServices(const Inquiry& inquiry, const std::string& domain, Endpoint& endpoint) {
  constexpr PortPlan kKerberos{"kerberos", 88, "tcp"};
  if (endpoint.port(kKerberos.service, kKerberos.transport) != nullptr) return;
  const std::string realm = tolk::toUpper(domain);
  const ProbeStart connect = tolk::startConnectProbe;
  probePort(inquiry, endpoint, kKerberos,
            [&realm](tolk::EventLoop& loop, const sockaddr_in& address, auto limit) {
              return tolk::startKdcProbe(loop, address, realm, limit);
            });
  probePort(inquiry, endpoint, {"kerberos", 88, "udp"},
            [&realm](tolk::EventLoop& loop, const sockaddr_in& address, auto limit) {
              return tolk::startKdcUdpProbe(loop, address, realm, limit);
            });
  probePort(inquiry, endpoint, {"kpasswd", 464, "tcp"}, connect);
  probePort(inquiry, endpoint, {"smb", 445, "tcp"}, tolk::startSmbProbe);
  probePort(inquiry, endpoint, {"ldaps", 636, "tcp"}, connect, Patience::brief);
  probePort(inquiry, endpoint, {"gcs", 3269, "tcp"}, connect, Patience::brief);
  probeCatalog(inquiry, endpoint);
  startNtp(inquiry, endpoint);
}

void probeCatalog(const Inquiry& inquiry, Endpoint& endpoint) {
  if (endpoint.port(kCatalog.service, kCatalog.transport) != nullptr) return;
  readRootDse(inquiry, endpoint, kCatalog);
}

}  // namespace joinscope::facts
