// Binds, has the topology read and writes it.
#include "cli/diag/site_topology.h"

#include <cstddef>
#include <iostream>

#include "cli/account/binding.h"
#include "cli/common/error_text.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

void announce(std::ostream& verbose, std::size_t level, const char* what, const std::string& dn) {
  verbose << prefix(level) << what << tolk::printable(dn) << '\n' << std::flush;
}

}  // namespace

std::vector<SubnetSite> listSiteTopology(TaskContext& context, const char* server,
                                         std::ostream* verbose) {
  std::ostream& sink = sinkOf(verbose);
  const auto binding = getBinding(context, server, verbose);
  if (!binding) {
    sink << prefix(2) << "Cannot read site data: unable to bind to DC.\n";
    showBindFailure(context);
    return {};
  }
  takeConfigurationContext(context, *binding);
  if (context.configNamingContext.empty()) {
    std::cout << "Can't retrieve siteinfo without knowing the configuration naming context\n";
    return {};
  }
  const std::string base = subnetsBase(context.configNamingContext);
  announce(sink, 2, "Retrieving subnet objects from ", base);
  try {
    const auto waiting = [&sink](SiteRead read, const std::string& dn) {
      announce(sink, 3,
               read == SiteRead::site ? "Retrieving site object from "
                                      : "Retrieving server objects from ",
               dn);
    };
    std::vector<SubnetSite> topology = readSubnets(*binding, base, waiting);
    if (topology.empty()) {
      sink << prefix(2) << "The directory names no subnet there: no site is listed\n";
    }
    return topology;
  } catch (const std::exception& e) {
    sink << prefix(2) << "Cannot read site data: " << tolk::printable(e.what()) << '\n';
    return {};
  }
}

void writeSiteTopology(std::ostream& out, const std::vector<SubnetSite>& topology) {
  for (const SubnetSite& entry : topology) {
    out << prefix(1) << "Site: " << tolk::printable(entry.site) << '\n'
        << prefix(2) << "Subnet: " << tolk::printable(entry.subnet) << '\n';
    if (entry.servers.empty()) out << prefix(2) << "Servers: none\n";
    for (const SiteServer& server : entry.servers) {
      const std::string dnsName =
          server.dnsHostName.empty() ? "DNS name unavailable" : tolk::printable(server.dnsHostName);
      out << prefix(2) << "Server: " << tolk::printable(server.name) << " (" << dnsName << ")\n";
    }
  }
}

}  // namespace joinscope
