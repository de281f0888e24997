// The forest's sites as the configuration partition holds them: every subnet, its site and the
// site's servers.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace joinscope {

struct TaskContext;

/// One server of a site; either may be empty.
struct SiteServer {
  std::string name;
  std::string dnsHostName;
};

/// One subnet object.
struct SubnetSite {
  std::string subnet;  ///< as the directory names it, "192.0.2.0/24"
  std::string site;    ///< empty when the subnet belongs to none
  std::vector<SiteServer> servers;
};

/// All subnets in the directory's order, read page by page; empty after any failure, whose reason
/// goes to `diag` (may be null) or, for a missing binding, to standard output too. The reads of one
/// page are kept outstanding together on the run's binding.
std::vector<SubnetSite> listSiteTopology(TaskContext& ctx, const char* server, std::ostream* diag);

/// Writes the list.
void writeSiteTopology(std::ostream& out, const std::vector<SubnetSite>& topology);

}  // namespace joinscope
