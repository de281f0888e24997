// What the searches of this process have found, and which controllers have failed it.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tolk/net/discovery.h"

namespace tolk {

/// What one search has given: a controller, or why there is none. Both may be set: a controller
/// that nobody has heard of, because a search has failed.
struct KnownSearch {
  using Clock = std::chrono::steady_clock;

  DCInfo info;
  std::string failure;
  Clock::time_point since = Clock::now();
};

/// Used by all threads. A controller stays known for good, a failed search for 45 seconds, a failed
/// controller for five minutes, so that a daemon comes back to it. That a realm has no key
/// distribution center is forgotten with the next controller that is found there.
class KnownControllers {
 public:
  using Clock = std::chrono::steady_clock;

  static KnownControllers& instance();

  /// The result of exactly this request; not one whose controller has failed after it.
  std::optional<KnownSearch> search(const DiscoveryRequest& request);
  /// The failure of exactly this request, when it is so fresh that asking again would only cost the
  /// same wait once more.
  std::optional<KnownSearch> freshFailure(const DiscoveryRequest& request);
  /// The same of a search that was left with this controller, which nobody has heard of; else "".
  std::string freshFailure(const std::string& host);
  void remember(const DiscoveryRequest& request, const KnownSearch& result);

  std::optional<DCInfo> server(const std::string& host);
  void remember(const DCInfo& info);

  /// The controller has failed at what `type` is wanted for. False when that is known already.
  bool noteFailed(const std::string& host, ServiceType::Enum type);
  std::set<std::string> failed(ServiceType::Enum type);

  std::optional<std::vector<sockaddr_in>> kdcs(const std::string& realm);
  void rememberKdcs(const std::string& realm, const std::vector<sockaddr_in>& addresses);

  DiscoveryMemory copy();

 private:
  using Key = std::tuple<std::string, ServiceType::Enum, bool, std::string>;
  using Service = std::pair<ServiceType::Enum, std::string>;

  KnownControllers() = default;
  std::optional<KnownSearch> find(const DiscoveryRequest& request,
                                  std::chrono::seconds failureLifetime);

  std::mutex mutex_;
  std::uint64_t hits_ = 0;
  std::uint64_t misses_ = 0;
  std::map<Key, KnownSearch> searches_;
  std::map<std::string, DCInfo> servers_;
  std::map<Service, Clock::time_point> failed_;
  std::map<std::string, std::pair<std::vector<sockaddr_in>, Clock::time_point>> kdcs_;
};

}  // namespace tolk
