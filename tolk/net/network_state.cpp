#include "tolk/net/network_state.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <tuple>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/net/discovery.h"
#include "tolk/net/dns.h"
#include "tolk/net/netlogon.h"
#include "tolk/net/sockets.h"

namespace tolk {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kFailureLifetime{45};

std::string withoutFinalDot(std::string name) {
  if (name.ends_with('.')) name.pop_back();
  return name;
}

// What one search has given: a controller, or why there is none and until when that is believed.
struct Remembered {
  DCInfo info;
  std::string failure;
  Clock::time_point until = Clock::time_point::max();
};

// The results of this process.
class Memory {
 public:
  using Key = std::tuple<std::string, ServiceType::Enum, bool, std::string>;

  static Memory& instance() {
    static Memory memory;
    return memory;
  }

  std::optional<Remembered> search(const DiscoveryRequest& request) {
    const std::lock_guard lock(mutex_);
    const auto found = searches_.find(key(request));
    if (found == searches_.end() || Clock::now() >= found->second.until) return std::nullopt;
    ++hits_;
    return found->second;
  }

  void remember(const DiscoveryRequest& request, const Remembered& result) {
    const std::lock_guard lock(mutex_);
    ++misses_;
    searches_[key(request)] = result;
    if (result.failure.empty()) servers_[result.info.host] = result.info;
  }

  std::optional<DCInfo> server(const std::string& host) {
    const std::lock_guard lock(mutex_);
    const auto found = servers_.find(host);
    if (found == servers_.end()) return std::nullopt;
    ++hits_;
    return found->second;
  }

  void remember(const DCInfo& info) {
    const std::lock_guard lock(mutex_);
    ++misses_;
    servers_[info.host] = info;
  }

  std::optional<std::vector<sockaddr_in>> kdcs(const std::string& realm) {
    const std::lock_guard lock(mutex_);
    const auto found = kdcs_.find(realm);
    if (found == kdcs_.end() || Clock::now() >= found->second.second) return std::nullopt;
    ++hits_;
    return found->second.first;
  }

  void rememberKdcs(const std::string& realm, const std::vector<sockaddr_in>& addresses) {
    const std::lock_guard lock(mutex_);
    ++misses_;
    kdcs_[realm] = {addresses, Clock::now() + kFailureLifetime};
  }

  DiscoveryMemory copy() {
    const std::lock_guard lock(mutex_);
    DiscoveryMemory all{.hits = hits_, .misses = misses_};
    const Clock::time_point now = Clock::now();
    all.failures = static_cast<std::size_t>(
        std::count_if(searches_.begin(), searches_.end(), [now](const auto& item) {
          return !item.second.failure.empty() && now < item.second.until;
        }));
    for (const auto& [host, info] : servers_) all.controllers.push_back(info);
    return all;
  }

 private:
  static Key key(const DiscoveryRequest& request) {
    return {request.domain, request.type, request.writable, toLower(request.site)};
  }

  std::mutex mutex_;
  std::uint64_t hits_ = 0;
  std::uint64_t misses_ = 0;
  std::map<Key, Remembered> searches_;
  std::map<std::string, DCInfo> servers_;
  std::map<std::string, std::pair<std::vector<sockaddr_in>, Clock::time_point>> kdcs_;
};

bool isJoinedDomain(const std::string& domain) {
  return equalsIgnoringCase(loadSetting(SETTING_DOMAIN_NAME, false, false), domain);
}

// The site that this host is recorded in, when the domain is the joined one. Unreadable settings
// only cost the preference.
std::string recordedSite(const std::string& domain) {
  try {
    if (!isJoinedDomain(domain)) return {};
    const std::string site = loadSetting(SETTING_MACHINE_SITE, false, false);
    return site.empty() ? loadSetting(SETTING_SUBNET_SITE, false, false) : site;
  } catch (const Base_Exception& failure) {
    Logger::GetThreadPrivateLogger("base.net.discovery").log(LogLevel::debug, failure.what());
    return {};
  }
}

DCInfo search(DiscoveryRequest request) {
  request.preferredSite = recordedSite(request.domain);
  try {
    DCInfo info = discoverController(request);
    Memory::instance().remember(request, {.info = info, .failure = {}});
    return info;
  } catch (const TOLKException& failure) {
    Memory::instance().remember(
        request, {.info = {}, .failure = failure.what(), .until = Clock::now() + kFailureLifetime});
    throw;
  }
}

// What is remembered of exactly this request, else of a controller that serves it too: one that
// holds several roles is asked for all of them, so that what it has just learnt is known wherever
// it is asked.
DCInfo find(const DiscoveryRequest& request) {
  if (const auto known = Memory::instance().search(request)) {
    if (!known->failure.empty()) throw TOLKException(known->failure);
    return known->info;
  }
  DiscoveryRequest plain = request;
  plain.type = ServiceType::domainController;
  plain.writable = false;
  if (const auto other = Memory::instance().search(plain)) {
    if (!other->failure.empty()) throw TOLKException(other->failure);
    if (other->info.found && hasRoles(request, other->info.roles)) return other->info;
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
  try {
    add(find(makeRequest(realm, ServiceType::kdc)).address.sin_addr, kKerberosPort);
  } catch (const Base_Exception& failure) {
    Logger::GetThreadPrivateLogger("base.net.discovery").log(LogLevel::debug, failure.what());
  }
  HostPortList records;
  try {
    FindSrvFromDns("_kerberos._tcp." + realm, records, 0, 0, 0);
  } catch (const Base_Exception& failure) {
    Logger::GetThreadPrivateLogger("base.net.discovery").log(LogLevel::debug, failure.what());
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
  return rediscover ? search(request).host : find(request).host;
}

boost::shared_ptr<DCInfo> NetworkState::getDCInfo(const std::string& server, bool refresh) {
  const std::string host = withoutFinalDot(toLower(server));
  if (!refresh) {
    if (const auto known = Memory::instance().server(host)) {
      return boost::make_shared<DCInfo>(*known);
    }
  }
  const DCInfo info = askController(host);
  Memory::instance().remember(info);
  return boost::make_shared<DCInfo>(info);
}

std::string NetworkState::getSubnetSite(const std::string& domain) {
  if (domain.empty()) return {};
  return find(makeRequest(domain, ServiceType::domainController)).clientSite;
}

std::string NetworkState::getDCFromKset(const std::string& domain, const ServiceType::Enum& type,
                                        bool /*reserved1*/, bool /*reserved2*/) {
  if (!isJoinedDomain(domain)) return {};
  const bool catalog = type == ServiceType::globalCatalog;
  return loadSetting(catalog ? SETTING_GLOBAL_CATALOG : SETTING_DOMAIN_CONTROLLER, false, false);
}

std::vector<sockaddr_in> NetworkState::getKdcs(const std::string& realm) {
  if (realm.empty()) return {};
  const std::string domain = withoutFinalDot(toLower(realm));
  if (auto known = Memory::instance().kdcs(domain)) return *known;
  std::vector<sockaddr_in> addresses = findKdcs(domain);
  Memory::instance().rememberKdcs(domain, addresses);
  return addresses;
}

DiscoveryMemory NetworkState::memory() {
  return Memory::instance().copy();
}

}  // namespace tolk
