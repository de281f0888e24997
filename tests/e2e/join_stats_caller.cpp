// Counts the domains named on the command line, with the tickets of the default cache:
//
//   join_stats_caller CACHE DOMAIN...
#include <chrono>
#include <iostream>

#include "tolk/zones/join_stats.h"

int main(int argc, char** argv) {
  const auto start = std::chrono::steady_clock::now();
  tolk::JoinStats stats(argv[2], {argv + 2, argv + argc});
  stats.setCredentialCache(argv[1]);
  stats.setConnectTimeout(4);
  stats.setSearchTimeout(8);
  stats.gatherStats();
  for (const tolk::DomainJoins& domain : stats.getDomainStats()) {
    std::cout << domain.name << ' ' << domain.zone << '\n';
  }
  std::cout << "disabled " << stats.getZoneTotals().disabled << '\n';
  for (const auto& [domain, reason] : stats.getProblemDomains()) {
    std::cout << domain << ": " << reason << '\n';
  }
  std::cerr << std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()
            << " s\n";
}
