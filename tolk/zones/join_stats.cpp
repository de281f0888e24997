#include "tolk/zones/join_stats.h"

#include <chrono>
#include <map>
#include <vector>

#include "tolk/base/property_names.h"
#include "tolk/net/limits.h"
#include "tolk/zones/domain_searches.h"

namespace tolk {
namespace {

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
