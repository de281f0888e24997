// Joined computers over a whole forest: the domains side by side, one connection each.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <utility>

#include "tolk/zones/domain_count.h"

namespace tolk {

/// Counts the machines that were joined through the agent. Everything is kept as counts: memory
/// does not grow with the number of machines. One gatherStats() an object.
class JoinStats {
 public:
  using ZoneList = std::list<ZoneJoins>;
  using DomainList = std::list<DomainJoins>;
  /// A domain's name, and the step that failed with its reason.
  using ProblemList = std::list<std::pair<std::string, std::string>>;

  /// `forest` is the DNS name of the forest's root domain, which is searched alone when `domains`
  /// is empty.
  JoinStats(const std::string& forest, const std::list<std::string>& domains);

  /// The tickets that all connections use, as copies: a cache's name, as ADBinding::cacheName()
  /// gives it. The process's default cache without this call.
  void setCredentialCache(const std::string& name) { cacheName_ = name; }
  /// Seconds for finding, reaching and binding to the controller of a domain, each step; 4 at
  /// first.
  void setConnectTimeout(long seconds) { connectTimeout_ = seconds; }
  /// Seconds for the next answer of a search; 8 at first.
  void setSearchTimeout(long seconds) { searchTimeout_ = seconds; }
  /// Is told about five times a second how many objects have been seen, on the caller's thread.
  void setProgress(std::function<void(std::uint64_t)> progress) { progress_ = std::move(progress); }

  /// Searches every domain, at most eight at a time. Slow. A domain that cannot be searched to its
  /// end adds nothing but its problem. While this runs, the configured limits of connections and
  /// searches are replaced by the two above, for the whole process. Throws nothing for what happens
  /// with one domain.
  void gatherStats();

  /// In the order of the domains, then of the layouts, then of the directory.
  [[nodiscard]] const ZoneList& getZoneStats() const noexcept { return zones_; }
  [[nodiscard]] ZoneJoins getZoneTotals() const;
  /// In the order of the domains, those with a problem left out.
  [[nodiscard]] const DomainList& getDomainStats() const noexcept { return domainStats_; }
  [[nodiscard]] DomainJoins getDomainTotals() const;
  [[nodiscard]] const ProblemList& getProblemDomains() const noexcept { return problems_; }

 private:
  std::list<std::string> domains_;
  std::string cacheName_;
  long connectTimeout_ = 4;
  long searchTimeout_ = 8;
  std::function<void(std::uint64_t)> progress_;
  ZoneList zones_;
  DomainList domainStats_;
  ProblemList problems_;
};

}  // namespace tolk
