// Threads take the domains in turn, each with tickets and a connection of its own; the counts are
// put together when all have ended.
#include "tolk/zones/join_stats.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/net/limits.h"
#include "tolk/net/network_state.h"
#include "tolk/zones/domain_count.h"

namespace tolk {
namespace {

/// What came of one domain: a count, or a problem.
struct DomainSearch {
  std::string domain;
  std::optional<DomainCount> count;
  std::string problem;
};

constexpr std::size_t kMostThreads = 8;
constexpr std::chrono::milliseconds kProgressInterval{200};

/// The work that the threads share: they take the domains in their order.
class Work {
 public:
  Work(std::vector<DomainSearch>& searches, std::string cacheName)
      : searches_(searches), cacheName_(std::move(cacheName)) {}

  /// A thread's whole life.
  void run() {
    for (std::size_t i = next_++; i < searches_.size(); i = next_++) search(searches_[i]);
    const std::lock_guard lock(mutex_);
    ++ended_;
    changed_.notify_all();
  }

  /// Whether all of `threads` have ended; waits for that, but only up to the next progress.
  bool waitFor(std::size_t threads) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kProgressInterval, [&] { return ended_ == threads; });
  }

  [[nodiscard]] std::uint64_t seen() const noexcept { return seen_; }

 private:
  void search(DomainSearch& result);
  [[nodiscard]] DomainCount count(const std::string& domain, std::string& step);

  std::vector<DomainSearch>& searches_;
  std::string cacheName_;
  std::atomic<std::size_t> next_ = 0;
  std::atomic<std::uint64_t> seen_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t ended_ = 0;
};

void Work::search(DomainSearch& result) {
  std::string step = "finding a domain controller";
  try {
    result.count = count(result.domain, step);
  } catch (const std::exception& failure) {
    result.problem = step + ": " + failure.what();
  }
}

DomainCount Work::count(const std::string& domain, std::string& step) {
  const std::string server = NetworkState::getDCForDomain(domain, ServiceType::domainController,
                                                          false, std::string(), false);
  step = "binding to " + server;
  KerberosContext kerberos;
  throwIfKrb5(kerberos.get(), krb5_set_server_locator(kerberos.get(), krb5_dc_locator_callback),
              "setting the server locator");
  ADBinding binding(domain, cacheName_, &kerberos, false, std::string(), std::string(), false,
                    false);
  binding.connect();
  for (bool moved = false;; moved = true) {
    DomainCounter counter(binding, [this](std::size_t objects) { seen_ += objects; });
    try {
      return counter.count();
    } catch (const LDAPException& failure) {
      step = std::string(counter.step()) + " from " + binding.serverName();
      if (moved || !binding.moveOn(failure)) throw;
    }
  }
}

// Searches `domains` side by side, each with tickets of its own copied from `cacheName`; the
// results are in the order of `domains`. `progress` may be empty; it is called on this thread.
// Throws std::system_error when not a single thread can be started.
std::vector<DomainSearch> searchDomains(const std::list<std::string>& domains,
                                        const std::string& cacheName,
                                        const std::function<void(std::uint64_t)>& progress) {
  std::vector<DomainSearch> searches;
  for (const std::string& domain : domains) searches.push_back({.domain = domain});
  // One configuration for all threads: the environment cannot be changed while they run.
  const GssConfigOverlay overlay(domains);
  Work work(searches, cacheName);
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < std::min(kMostThreads, searches.size()); ++i) {
    threads.emplace_back([&work] { work.run(); });
  }
  while (!work.waitFor(threads.size())) {
    if (progress) progress(work.seen());
  }
  return searches;
}

// Joins of all domains are known by now: disabled computers of one may be in zones of another.
void addDisabled(std::vector<DomainSearch>& searches) {
  std::map<std::string, ZoneJoins*> zones;
  for (DomainSearch& search : searches) {
    if (search.count) zones.merge(search.count->zoneByDn);
  }
  for (const DomainSearch& search : searches) {
    if (!search.count) continue;
    for (const auto& [dn, disabled] : search.count->disabledByZone) {
      if (const auto zone = zones.find(dn); zone != zones.end()) zone->second->disabled += disabled;
    }
  }
}

}  // namespace

JoinStats::JoinStats(const std::string& forest, const std::list<std::string>& domains)
    : domains_(domains.empty() ? std::list<std::string>{forest} : domains) {}

void JoinStats::gatherStats() {
  ScopedLimits limits;
  limits.set({&PN::NET_DISCOVERY_TIMEOUT, &PN::LDAP_CONNECT_TIMEOUT, &PN::LDAP_BIND_TIMEOUT,
              &PN::KRB5_KDC_TIMEOUT, &PN::VELKD_DNS_RESPONSE_MAXTIME},
             std::chrono::seconds(connectTimeout_), "the join count's limit of each step");
  limits.set({&PN::LDAP_SEARCH_TIMEOUT}, std::chrono::seconds(searchTimeout_),
             "the join count's limit of a search");
  std::vector<DomainSearch> searches = searchDomains(domains_, cacheName_, progress_);
  addDisabled(searches);
  for (DomainSearch& search : searches) {
    if (!search.count) {
      problems_.emplace_back(search.domain, search.problem);
      continue;
    }
    search.count->computers.name = search.domain;
    domainStats_.push_back(search.count->computers);
    zones_.splice(zones_.end(), search.count->zones);
  }
}

ZoneJoins JoinStats::getZoneTotals() const {
  ZoneJoins total;
  for (const ZoneJoins& zone : zones_) {
    total.joins += zone.joins;
    total.orphans += zone.orphans;
    total.disabled += zone.disabled;
  }
  return total;
}

DomainJoins JoinStats::getDomainTotals() const {
  DomainJoins total;
  for (const DomainJoins& domain : domainStats_) {
    total.zone += domain.zone;
    total.autoZone += domain.autoZone;
    total.sprig += domain.sprig;
    total.oem += domain.oem;
    total.unknown += domain.unknown;
  }
  return total;
}

}  // namespace tolk
