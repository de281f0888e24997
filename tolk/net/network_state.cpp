// Memory in front of discovery: what is fresh answers at once, a search fills it, the join
// settings are the last resort.
#include "tolk/net/network_state.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <chrono>
#include <optional>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/configured_controllers.h"
#include "tolk/net/discovery.h"
#include "tolk/net/dns.h"
#include "tolk/net/host_query.h"
#include "tolk/net/known_controllers.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kLogger = "base.net.discovery";

std::string withoutFinalDot(std::string name) {
  if (name.ends_with('.')) name.pop_back();
  return name;
}

// Of "HOST" or "HOST:PORT".
std::string hostOf(const std::string& server) {
  return withoutFinalDot(toLower(server.substr(0, server.find(':'))));
}

KnownControllers& known() {
  return KnownControllers::instance();
}

// The site that this host is recorded in, when the domain is the joined one. Unreadable settings
// only cost the preference.
std::string recordedSite(const std::string& domain) {
  try {
    if (!isJoinedDomain(domain)) return {};
    const std::string site = loadSetting(SETTING_MACHINE_SITE);
    return site.empty() ? loadSetting(SETTING_SUBNET_SITE) : site;
  } catch (const Base_Exception& failure) {
    Logger::GetThreadPrivateLogger(kLogger).log(LogLevel::debug, failure.what());
    return {};
  }
}

// The controller of the join, when a search has found none; without a host when there is no such.
DCInfo controllerOfTheJoin(const DiscoveryRequest& request, const std::string& failure) {
  DCInfo info;
  info.flags = DCInfo::kUnverified;
  info.domain = request.domain;
  try {
    info.host = toLower(recordedController(request.domain, request.type));
  } catch (const Base_Exception& unreadable) {
    noteTrouble(kLogger, unreadable.what());
  }
  if (!info.host.empty()) {
    noteTrouble(kLogger, printable(failure) + "; going on with the controller of the join, " +
                             printable(info.host) + ", unverified");
  }
  return info;
}

DCInfo outcome(const KnownSearch& result) {
  if (result.info.host.empty()) throw TOLKException(result.failure);
  return result.info;
}

DCInfo search(DiscoveryRequest request) {
  request.preferredSite = recordedSite(request.domain);
  request.failedBefore = known().failed(request.type);
  KnownSearch result;
  try {
    const Discovered found = discoverController(request);
    result.info = found.info;
    for (const UselessController& controller : found.useless) {
      NetworkState::passOver(controller.host, request.type, controller.reason);
    }
  } catch (const TOLKException& failure) {
    result.failure = failure.what();
    result.info = controllerOfTheJoin(request, result.failure);
  }
  result.since = Clock::now();  // after the failures that this search has met
  known().remember(request, result);
  return outcome(result);
}

// What is remembered of exactly this request, else of a controller that serves it too: one that
// holds several roles is asked for all of them, and one of the site that is asked for is known, so
// that what has just been learnt is known wherever it is asked.
DCInfo find(const DiscoveryRequest& request) {
  if (const auto same = known().search(request)) return outcome(*same);
  DiscoveryRequest plain = request;
  plain.type = ServiceType::domainController;
  plain.writable = false;
  plain.site.clear();
  if (const auto other = known().search(plain)) {
    if (!other->failure.empty()) return outcome(*other);
    const DCInfo& info = other->info;
    const bool there = request.site.empty() || equalsIgnoringCase(info.clientSite, request.site);
    if (info.found && there && hasRoles(request, info.roles)) return info;
  }
  return search(request);
}

DiscoveryRequest makeRequest(const std::string& domain, ServiceType::Enum type) {
  DiscoveryRequest request;
  request.domain = withoutFinalDot(toLower(domain));
  request.type = type;
  return request;
}

// The discovered center first; a realm that is no domain has the records alone.
std::vector<sockaddr_in> findKdcs(const std::string& realm) {
  constexpr in_port_t kKerberosPort = 88;
  std::vector<sockaddr_in> addresses;
  const auto add = [&addresses](in_addr address, in_port_t port) {
    const sockaddr_in item = socketAddress(address, port);
    const bool known = std::any_of(addresses.begin(), addresses.end(), [&item](const auto& other) {
      return other.sin_addr.s_addr == item.sin_addr.s_addr && other.sin_port == item.sin_port;
    });
    if (!known) addresses.push_back(item);
  };
  HostPortList records;
  try {
    const DCInfo center = find(makeRequest(realm, ServiceType::kdc));
    if (center.address.sin_family == AF_INET) {
      add(center.address.sin_addr, kKerberosPort);
    } else {  // known by its name alone
      records.push_back({.host = center.host, .text = {}, .port = kKerberosPort});
    }
  } catch (const Base_Exception& failure) {
    Logger::GetThreadPrivateLogger(kLogger).log(LogLevel::debug, failure.what());
  }
  try {
    FindSrvFromDns("_kerberos._tcp." + realm, records, 0, 0, 0);
  } catch (const Base_Exception& failure) {
    Logger::GetThreadPrivateLogger(kLogger).log(LogLevel::debug, failure.what());
  }
  EventLoop loop;
  std::vector<Pending<std::vector<in_addr>>> lookups;
  for (const HostPort& record : records) lookups.push_back(startHostLookup(loop, record.host));
  for (std::size_t i = 0; i < lookups.size(); ++i) {
    for (const in_addr address : lookups[i].wait()) {
      add(address, static_cast<in_port_t>(records[i].port));
    }
  }
  return addresses;
}

}  // namespace

std::string NetworkState::getDCForDomain(const std::string& domain, const ServiceType::Enum& type,
                                         bool writable, const std::string& site, bool rediscover) {
  if (domain.empty()) return {};
  DiscoveryRequest request = makeRequest(domain, type);
  request.writable = writable;
  request.site = site;
  if (!rediscover) return find(request).host;
  if (const auto failure = known().freshFailure(request)) return outcome(*failure).host;
  return search(request).host;
}

boost::shared_ptr<DCInfo> NetworkState::getDCInfo(const std::string& server, bool refresh) {
  const std::string host = hostOf(server);
  if (!refresh) {
    if (const auto info = known().server(host)) return boost::make_shared<DCInfo>(*info);
  }
  if (std::string failure = known().freshFailure(host); !failure.empty()) {
    throw TOLKException(std::move(failure));
  }
  const DCInfo info = askController(host);
  known().remember(info);
  return boost::make_shared<DCInfo>(info);
}

std::string NetworkState::getSubnetSite(const std::string& domain) {
  if (domain.empty()) return {};
  return find(makeRequest(domain, ServiceType::domainController)).clientSite;
}

std::string NetworkState::getDCFromKset(const std::string& domain, const ServiceType::Enum& type,
                                        bool /*reserved1*/, bool /*reserved2*/) {
  return recordedController(domain, type);
}

void NetworkState::passOver(const std::string& server, ServiceType::Enum type,
                            const std::string& reason) {
  const std::string host = hostOf(server);
  if (known().noteFailed(host, type)) {
    noteTrouble(kLogger, printable(shownName(host)) + " is passed over: " + printable(reason));
  }
}

std::vector<sockaddr_in> NetworkState::getKdcs(const std::string& realm) {
  if (realm.empty()) return {};
  const std::string domain = withoutFinalDot(toLower(realm));
  if (auto addresses = known().kdcs(domain)) return *addresses;
  std::vector<sockaddr_in> addresses = findKdcs(domain);
  known().rememberKdcs(domain, addresses);
  return addresses;
}

DiscoveryMemory NetworkState::memory() {
  return known().copy();
}

}  // namespace tolk
