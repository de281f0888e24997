// The site lookup of bindings and of the domain diagnostics.
#include "cli/common/subnet_site.h"

#include <exception>
#include <ostream>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "tolk/base/text.h"
#include "tolk/net/network_state.h"

namespace joinscope {
namespace {

std::string quotedOrAny(const std::string& name) {
  return name.empty() ? "any" : '\'' + tolk::printable(name) + '\'';
}

}  // namespace

std::string lookupSubnetSite(const std::string& domain, const std::string& currentSite,
                             const std::string& server, std::ostream* verbose) {
  std::ostream& sink = sinkOf(verbose);
  sink << prefix(1) << "Retrieving site information from site=" << quotedOrAny(currentSite)
       << ", server=" << quotedOrAny(server) << '\n';
  try {
    if (server.empty()) return tolk::NetworkState::getSubnetSite(domain);
    return tolk::NetworkState::getDCInfo(server, true)->clientSite;
  } catch (const std::exception& error) {
    sink << prefix(1) << "Exception: " << tolk::printable(error.what()) << '\n';
    return {};
  }
}

}  // namespace joinscope
