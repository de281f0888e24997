// The daemon names the domains, tolk::JoinStats counts them, the rest is layout.
#include "cli/joins/join_counts.h"

#include <cstdint>
#include <iostream>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "cli/account/binding.h"
#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/task_context.h"
#include "cli/joins/progress_line.h"
#include "cli/status/domain_rids.h"
#include "facts/domain_rids.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/rpc/orv_session.h"
#include "tolk/zones/join_stats.h"

namespace joinscope {
namespace {

constexpr long kConnectSeconds = 4;
constexpr long kSearchSeconds = 8;

/// A label and its number.
using Line = std::pair<std::string_view, std::uint64_t>;

/// The forest's domains as the daemon names them; nothing when it cannot say.
std::optional<std::list<std::string>> domainsOfForest(std::ostream* verbose) {
  OrvKeyValue* found = nullptr;
  const int code = getDomainRids(domainRidsWaitSeconds(verbose), &found);
  const std::unique_ptr<OrvKeyValue, tolk::Releaser<orvFreeKeyValueSet>> set(found);
  if (code != OrvCode::kSuccess) {
    reportRidError(code);
    return std::nullopt;
  }
  std::list<std::string> domains;
  for (const OrvKeyValue* pair = set.get(); pair != nullptr && pair->key != nullptr; ++pair) {
    domains.emplace_back(pair->key);
  }
  return domains;
}

int fail() {
  std::cout << "\nUnable to retrieve an authenticated binding\n";
  return exit_status::kInternalError;
}

void writeHeading(std::ostream& out, std::string_view heading) {
  out << '\n' << heading << '\n' << std::string(heading.size(), '-') << '\n';
}

void writeLines(std::ostream& out, std::size_t width, std::initializer_list<Line> lines) {
  for (const auto& [label, number] : lines) {
    out << prefix(1) << padRight(label, width) << number << '\n';
  }
}

void writeZones(std::ostream& out, const tolk::JoinStats& stats) {
  writeHeading(out, "Joins by Zone (All Orvald Versions)");
  for (const tolk::ZoneJoins& zone : stats.getZoneStats()) {
    out << '\n' << tolk::printable(zone.name) << '\n';
    writeLines(out, 10,
               {{"Joins:", zone.joins}, {"Disabled:", zone.disabled}, {"Orphans:", zone.orphans}});
  }
  const tolk::ZoneJoins total = stats.getZoneTotals();
  writeHeading(out, "Joins by Zone Totals");
  writeLines(out, 16,
             {{"Total Zones:", stats.getZoneStats().size()},
              {"Total Joins:", total.joins},
              {"Total Disabled:", total.disabled},
              {"Total Orphans:", total.orphans}});
}

void writeDomains(std::ostream& out, const tolk::JoinStats& stats) {
  writeHeading(out, "Joins by Domains (Orvald 4.2 and newer)");
  for (const tolk::DomainJoins& domain : stats.getDomainStats()) {
    out << '\n' << tolk::printable(domain.name) << '\n';
    writeLines(out, 19,
               {{"Zone Joins:", domain.zone},
                {"Auto Zone Joins:", domain.autoZone},
                {"Sprig Joins:", domain.sprig},
                {"OEM Joins:", domain.oem},
                {"Unknown Joins:", domain.unknown}});
  }
  const tolk::DomainJoins total = stats.getDomainTotals();
  writeHeading(out, "Joins by Domains Totals (Orvald 4.2 and newer)");
  writeLines(out, 25,
             {{"Total Zone Joins:", total.zone},
              {"Total Auto Zone Joins:", total.autoZone},
              {"Total Sprig Joins:", total.sprig},
              {"Total OEM Joins:", total.oem},
              {"Total Unknown Joins:", total.unknown}});
}

/// Zone joins of the domains are in the zones already.
std::uint64_t allJoins(const tolk::JoinStats& stats) {
  const tolk::DomainJoins domains = stats.getDomainTotals();
  return stats.getZoneTotals().joins + domains.autoZone + domains.sprig + domains.oem;
}

void writeProblems(std::ostream& out, const tolk::JoinStats& stats) {
  if (stats.getProblemDomains().empty()) return;
  writeHeading(out, "Unreachable Domains");
  for (const auto& [domain, reason] : stats.getProblemDomains()) {
    out << '\n'
        << prefix(1) << "Domain: " << tolk::printable(domain) << '\n'
        << prefix(1) << "Reason: " << tolk::printable(reason) << '\n';
  }
}

}  // namespace

int showJoinCounts(TaskContext& context, const char* server, std::ostream* verbose) {
  std::cout << "\nCounting joins.\n"
            << "This may take several minutes depending on domain topology...\n"
            << std::flush;
  const boost::shared_ptr<tolk::ADBinding> binding = getBinding(context, server, verbose);
  if (!binding) return fail();
  const std::string forest = binding->forestName();
  const std::optional<std::list<std::string>> domains = domainsOfForest(verbose);
  if (!domains) return fail();
  tolk::JoinStats stats(forest, *domains);
  stats.setCredentialCache(binding->cacheName());
  stats.setConnectTimeout(kConnectSeconds);
  stats.setSearchTimeout(kSearchSeconds);
  {
    ProgressLine progress;
    stats.setProgress([&progress](std::uint64_t seen) { progress.show(seen); });
    stats.gatherStats();
  }
  writeJoinCounts(std::cout, stats);
  std::cout.flush();
  return exit_status::kSuccess;
}

void writeJoinCounts(std::ostream& out, const tolk::JoinStats& stats) {
  writeZones(out, stats);
  writeDomains(out, stats);
  out << "\nTotal Joins (All Orvald Versions) = " << allJoins(stats) << '\n';
  writeProblems(out, stats);
  out << '\n';
}

}  // namespace joinscope
