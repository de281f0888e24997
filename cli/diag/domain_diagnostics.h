// "Domain Diagnostics", the report's central section: site, controllers, connectivity, root DSEs,
// sites.
#pragma once

#include <iosfwd>
#include <string>

#include "tolk/net/host_port.h"

namespace joinscope {

struct TaskContext;

/// The section on standard output. Throws TOLKException when the context has no site yet, no server
/// was named and no controller of the joined domain can be found; every later failure is a line of
/// text. `server` and `verbose` may be null.
void domainDiagnostics(TaskContext& context, const char* server, std::ostream* verbose);

/// Appends the entries of `more` that `list` does not hold yet.
void appendMissing(tolk::HostPortList& list, const tolk::HostPortList& more);

/// Global catalogs, then the controllers that are not among them.
tolk::HostPortList mergedServers(const tolk::HostPortList& gcs, const tolk::HostPortList& dcs);

/// The line of the host's site, and what to do when there is none.
void writeSubnetSite(std::ostream& out, const std::string& site);

}  // namespace joinscope
