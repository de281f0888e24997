// Searches by what was asked, servers by name, failures by name and service; a result older than
// a failure of its controller is none.
#include "tolk/net/known_controllers.h"

#include <algorithm>

#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::chrono::seconds kFailureLifetime{45};
constexpr std::chrono::seconds kFresh{15};
constexpr std::chrono::minutes kFailedLifetime{5};

std::tuple<std::string, ServiceType::Enum, bool, std::string> keyOf(
    const DiscoveryRequest& request) {
  return {request.domain, request.type, request.writable, toLower(request.site)};
}

}  // namespace

KnownControllers& KnownControllers::instance() {
  static KnownControllers all;
  return all;
}

std::optional<KnownSearch> KnownControllers::find(const DiscoveryRequest& request,
                                                  std::chrono::seconds failureLifetime) {
  const auto found = searches_.find(keyOf(request));
  if (found == searches_.end()) return std::nullopt;
  const KnownSearch& result = found->second;
  if (!result.failure.empty()) {
    const bool old = Clock::now() >= result.since + failureLifetime;
    return old ? std::nullopt : std::optional(result);
  }
  const auto failed = failed_.find({request.type, result.info.host});
  if (failed != failed_.end() && failed->second > result.since) return std::nullopt;
  return result;
}

std::optional<KnownSearch> KnownControllers::search(const DiscoveryRequest& request) {
  const std::lock_guard lock(mutex_);
  std::optional<KnownSearch> found = find(request, kFailureLifetime);
  if (found) ++hits_;
  return found;
}

std::optional<KnownSearch> KnownControllers::freshFailure(const DiscoveryRequest& request) {
  const std::lock_guard lock(mutex_);
  std::optional<KnownSearch> found = find(request, kFresh);
  if (!found || found->failure.empty()) return std::nullopt;
  ++hits_;
  return found;
}

std::string KnownControllers::freshFailure(const std::string& host) {
  const std::lock_guard lock(mutex_);
  for (const auto& [key, result] : searches_) {
    const bool fresh = Clock::now() < result.since + kFresh;
    if (fresh && !result.failure.empty() && result.info.host == host) return result.failure;
  }
  return {};
}

void KnownControllers::remember(const DiscoveryRequest& request, const KnownSearch& result) {
  const std::lock_guard lock(mutex_);
  ++misses_;
  searches_[keyOf(request)] = result;
  if (!result.failure.empty()) return;
  servers_[result.info.host] = result.info;
  // A realm that has a controller again need not go without a key distribution center any longer.
  const auto centers = kdcs_.find(request.domain);
  if (centers != kdcs_.end() && centers->second.first.empty()) kdcs_.erase(centers);
}

std::optional<DCInfo> KnownControllers::server(const std::string& host) {
  const std::lock_guard lock(mutex_);
  const auto found = servers_.find(host);
  if (found == servers_.end()) return std::nullopt;
  ++hits_;
  return found->second;
}

void KnownControllers::remember(const DCInfo& info) {
  const std::lock_guard lock(mutex_);
  ++misses_;
  servers_[info.host] = info;
}

bool KnownControllers::noteFailed(const std::string& host, ServiceType::Enum type) {
  const std::lock_guard lock(mutex_);
  const Clock::time_point now = Clock::now();
  const auto [place, added] = failed_.try_emplace({type, host}, now);
  const bool fresh = added || now >= place->second + kFailedLifetime;
  place->second = now;
  return fresh;
}

std::set<std::string> KnownControllers::failed(ServiceType::Enum type) {
  const std::lock_guard lock(mutex_);
  std::set<std::string> hosts;
  for (const auto& [service, since] : failed_) {
    const bool old = Clock::now() >= since + kFailedLifetime;
    if (service.first == type && !old) hosts.insert(service.second);
  }
  return hosts;
}

std::optional<std::vector<sockaddr_in>> KnownControllers::kdcs(const std::string& realm) {
  const std::lock_guard lock(mutex_);
  const auto found = kdcs_.find(realm);
  if (found == kdcs_.end() || Clock::now() >= found->second.second) return std::nullopt;
  ++hits_;
  return found->second.first;
}

void KnownControllers::rememberKdcs(const std::string& realm,
                                    const std::vector<sockaddr_in>& addresses) {
  const std::lock_guard lock(mutex_);
  ++misses_;
  kdcs_[realm] = {addresses, Clock::now() + kFailureLifetime};
}

DiscoveryMemory KnownControllers::copy() {
  const std::lock_guard lock(mutex_);
  DiscoveryMemory all{.hits = hits_, .misses = misses_};
  const Clock::time_point now = Clock::now();
  all.failures = static_cast<std::size_t>(
      std::count_if(searches_.begin(), searches_.end(), [now](const auto& item) {
        return !item.second.failure.empty() && now < item.second.since + kFailureLifetime;
      }));
  for (const auto& [host, info] : servers_) all.controllers.push_back(info);
  return all;
}

}  // namespace tolk
