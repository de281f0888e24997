// The forest's sites as the configuration partition holds them: every subnet, its site and the
// site's servers.
#pragma once

#include <iosfwd>
#include <vector>

#include "facts/sites.h"

namespace joinscope {

struct TaskContext;

/// All subnets in the directory's order, read page by page; empty after any failure, whose reason
/// goes to `verbose` (may be null) or, for a missing binding, to standard output too. Asked over
/// the run's binding.
std::vector<SubnetSite> listSiteTopology(TaskContext& context, const char* server,
                                         std::ostream* verbose);

/// Writes the list.
void writeSiteTopology(std::ostream& out, const std::vector<SubnetSite>& topology);

}  // namespace joinscope
