// Every answer starts at once what follows from it; nothing waits for what it does not need.
#include "facts/domain_survey.h"

#include <arpa/inet.h>

#include <algorithm>
#include <utility>

#include "tolk/base/descriptor_limit.h"
#include "tolk/base/text.h"
#include "tolk/net/controller_records.h"

namespace joinscope::facts {
namespace {

constexpr std::size_t kMostControllers = 1000;
constexpr std::size_t kMostAddresses = 4;
constexpr std::size_t kWhollyProbed = 12;  // controllers of a large domain beyond are only pinged
constexpr std::size_t kDescriptorsEach = 4;
constexpr std::size_t kDescriptorsElse = 200;  // for DNS and those that are wholly probed

constexpr char kFromDns[] = "DNS";
constexpr char kFromSite[] = "site";
constexpr char kCatalog[] = "catalog";
constexpr char kNamed[] = "--server";

bool isIpv4(const std::string& text) {
  in_addr binary{};
  return ::inet_pton(AF_INET, text.c_str(), &binary) == 1;
}

/// The addresses that hosts(5) gives to a name.
std::vector<std::string> hostsAddresses(const Host& host, const std::string& name) {
  std::vector<std::string> addresses;
  for (const HostsLine& line : host.hostsFile) {
    const bool named = std::ranges::any_of(line.names, [&name](const std::string& known) {
      return tolk::equalsIgnoringCase(known, name);
    });
    if (named && isIpv4(line.address)) addresses.push_back(line.address);
  }
  return addresses;
}

}  // namespace

std::string ownFullName(const Facts& local) {
  const std::string& name = local.join.joinedHost.empty() ? local.host.name : local.join.joinedHost;
  const bool whole = name.find('.') != std::string::npos || local.join.domain.empty();
  return tolk::toLower(whole ? name : name + "." + local.join.domain);
}

DomainSurvey::DomainSurvey(const Inquiry& inquiry, const Question& question, const Facts& local)
    : inquiry_(inquiry), question_(question), local_(local), domain_(local.join.domain) {
  const std::size_t wanted = kMostControllers * kDescriptorsEach + kDescriptorsElse;
  room_ = tolk::usableDescriptors(wanted) / kDescriptorsEach;
  room_ -= std::min(room_, kDescriptorsElse / kDescriptorsEach);
  network_.ownName = ownFullName(local);
}

void DomainSurvey::start() {
  if (!question_.server.empty()) return addController(question_.server, kNamed);
  const bool same = tolk::equalsIgnoringCase(local_.join.joinedDomain, domain_);
  if (same && !local_.join.controller.empty()) {
    addController(local_.join.controller, "join settings");
  }
}

void DomainSurvey::askDns(const std::string& server) {
  server_ = server;
  for (const char* service : {"_ldap._tcp", "_ldap._tcp.dc._msdcs", "_kerberos._tcp",
                              "_kerberos._udp", "_kpasswd._tcp"}) {
    askRecords(service, domain_, kFromDns);
  }
  askCatalogs(domain_);
  askSite(local_.join.site);
  askOwnNames();
  for (Controller& controller : controllers_) {
    lookUp(controller, tolk::DnsType::a);
    for (Endpoint& endpoint : controller.endpoints) askPointer(endpoint);
  }
}

tolk::DnsQuestion DomainSurvey::dnsQuestion(std::string name, tolk::DnsType type) const {
  return {.server = server_, .name = std::move(name), .type = type};
}

void DomainSurvey::askRecords(const std::string& service, const std::string& domain,
                              const char* source) {
  const std::string name = service + "." + domain;
  if (!asked_.insert(tolk::toLower(name)).second) return;
  ServiceRecords& records = records_.emplace_back();
  records.service = service;
  records.name = name;
  inquiry_.dns.ask(dnsQuestion(name, tolk::DnsType::srv),
                   [this, &records, source](const DnsResult& result) {
                     records.asked = result.answer.asked;
                     records.status = result.answer.status;
                     for (const tolk::HostPort& target : result.list) {
                       records.targets.push_back(target.host + ":" + std::to_string(target.port));
                       if (question_.server.empty()) addController(target.host, source);
                     }
                   });
}

void DomainSurvey::askSite(const std::string& site) {
  if (site.empty() || server_.empty()) return;
  askRecords("_ldap._tcp." + tolk::siteLabel(site) + "._sites", domain_, kFromSite);
}

void DomainSurvey::askCatalogs(const std::string& forest) {
  if (forest.empty() || server_.empty()) return;
  askRecords("_gc._tcp", forest, kCatalog);
}

void DomainSurvey::askOwnNames() {
  network_.ownAddresses.asked.reason = "its answer was not waited for";
  inquiry_.dns.ask(dnsQuestion(network_.ownName, tolk::DnsType::a), [this](DnsResult result) {
    DnsAnswer& own = network_.ownAddresses;
    const std::vector<std::string> more = std::move(own.records);
    own = std::move(result.answer);
    own.records.insert(own.records.end(), more.begin(), more.end());
  });
  inquiry_.dns.ask(dnsQuestion(network_.ownName, tolk::DnsType::aaaa),
                   [this](const DnsResult& result) {
                     std::vector<std::string>& records = network_.ownAddresses.records;
                     const std::vector<std::string>& more = result.answer.records;
                     records.insert(records.end(), more.begin(), more.end());
                   });
  const std::vector<std::string>& addresses = local_.host.addresses;
  network_.ownPointers.resize(addresses.size());
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    if (!isIpv4(addresses[i])) continue;
    inquiry_.dns.ask(
        dnsQuestion(tolk::reverseName(addresses[i]), tolk::DnsType::ptr),
        [this, i](DnsResult result) { network_.ownPointers[i] = std::move(result.answer); });
  }
}

void DomainSurvey::addController(const std::string& text, const char* source) {
  const std::string name = tolk::toLower(text);
  const auto known = std::ranges::find(controllers_, name, &Controller::name);
  if (known != controllers_.end()) return namedAgain(*known, source);
  if (controllers_.size() >= kMostControllers) return;
  Controller& controller = controllers_.emplace_back();
  controller.name = name;
  controller.source = source;
  controller.endpoints.reserve(kMostAddresses);
  if (isIpv4(name)) return addEndpoint(controller, name, "");
  for (const std::string& address : hostsAddresses(local_.host, name)) {
    addEndpoint(controller, address, "/etc/hosts");
  }
  if (!server_.empty()) lookUp(controller, tolk::DnsType::a);
}

/// Who is more than a catalog, or near, is asked more.
void DomainSurvey::namedAgain(Controller& controller, const char* source) {
  const bool more = controller.source == kCatalog ||
                    (controller.source == kFromDns && source == std::string_view(kFromSite));
  if (!more || source == std::string_view(kCatalog)) return;
  controller.source = source;
  for (Endpoint& endpoint : controller.endpoints) probe(controller, endpoint);
}

void DomainSurvey::lookUp(Controller& controller, tolk::DnsType type) {
  if (isIpv4(controller.name)) return;
  inquiry_.dns.ask(dnsQuestion(controller.name, type), [this, type, &controller](DnsResult result) {
    controller.lookup = std::move(result.answer);
    for (const std::string& address : controller.lookup.records) {
      if (isIpv4(address)) addEndpoint(controller, address, kFromDns);
    }
    // For what cannot be asked by IPv4 it is worth knowing why.
    const bool none = controller.lookup.asked.answered() && controller.lookup.records.empty();
    if (type == tolk::DnsType::a && none) lookUp(controller, tolk::DnsType::aaaa);
  });
}

void DomainSurvey::addEndpoint(Controller& controller, const std::string& address,
                               const char* source) {
  std::vector<Endpoint>& endpoints = controller.endpoints;
  const auto known = std::ranges::find(endpoints, address, &Endpoint::address);
  if (known != endpoints.end() || endpoints.size() >= kMostAddresses) return;
  Endpoint& endpoint = endpoints.emplace_back();
  endpoint.address = address;
  endpoint.source = source;
  // An endpoint that stays unasked says so by itself.
  if (room_ == 0) return;
  --room_;
  probe(controller, endpoint);
  if (!server_.empty() && controllers_.size() <= kWhollyProbed) askPointer(endpoint);
}

void DomainSurvey::probe(const Controller& controller, Endpoint& endpoint) {
  if (controller.source == kCatalog) return probeCatalog(inquiry_, endpoint);
  probeDirectory(inquiry_, domain_, endpoint, [this, &endpoint] { pinged(endpoint); });
  const bool near = controller.source != kFromDns;
  if (near || controllers_.size() <= kWhollyProbed) probeServices(inquiry_, domain_, endpoint);
}

void DomainSurvey::askPointer(Endpoint& endpoint) {
  inquiry_.dns.ask(dnsQuestion(tolk::reverseName(endpoint.address), tolk::DnsType::ptr),
                   [&endpoint](DnsResult result) {
                     endpoint.pointer = result.answer.asked;
                     endpoint.reverseNames = std::move(result.answer.records);
                   });
}

void DomainSurvey::pinged(const Endpoint& endpoint) {
  if (network_.site.empty()) network_.site = endpoint.clientSite;
  askSite(endpoint.clientSite);
  askCatalogs(endpoint.forest);
}

Network DomainSurvey::network() const {
  Network network = network_;
  network.records.assign(records_.begin(), records_.end());
  network.controllers.assign(controllers_.begin(), controllers_.end());
  return network;
}

}  // namespace joinscope::facts
