// How near the sites of a forest are to each other: the costs of its site links (MS-ADTS
// 6.1.1.2.2.3).
#pragma once

#include <string>
#include <vector>

namespace tolk {

class LDAPBinding;

/// One link between sites; all pairs of its sites are that far apart.
struct SiteLink {
  int cost = 0;
  std::vector<std::string> sites;
};

/// The site that is reached from `site` at the least total cost, the first by name of those that
/// are equally near, "" when no link leads anywhere. Names compare without case.
[[nodiscard]] std::string nextClosestSite(const std::vector<SiteLink>& links,
                                          const std::string& site);

/// The links for the IP transport. Throws LDAPException.
[[nodiscard]] std::vector<SiteLink> readSiteLinks(LDAPBinding& binding);

}  // namespace tolk
