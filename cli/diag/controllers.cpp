// Root DSE report of the controllers, and the controllers of the host's site.
#include "cli/diag/controllers.h"

#include <iostream>
#include <utility>
#include <vector>

#include "cli/account/binding.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "cli/diag/functional_levels.h"
#include "cli/diag/root_dse.h"
#include "cli/diag/srv_records.h"
#include "facts/sites.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

/// The lines below the title; the order of the reads is that of the lines of diagnostics.
void writeRootDse(std::ostream& out, TaskContext& context, tolk::ADObject& rootDse,
                  std::ostream& verbose) {
  context.win2kController = normalizeFunctionalLevels(context, rootDse, &verbose);
  out << prefix(2) << "Domain controller type: " << controllerTypeText(rootDse) << '\n';
  if (context.configNamingContext.empty()) {
    context.configNamingContext = readAttribute(rootDse, tolk::AD_CONFIG_NAMING_CTX, &verbose);
  }
  if (context.forestName.empty()) {
    context.forestName = readDomainAttribute(rootDse, tolk::AD_ROOT_NAMING_CTX, &verbose);
  }
  const std::string domain = readDomainAttribute(rootDse, tolk::AD_DEFAULT_NAMING_CTX, &verbose);
  out << prefix(2) << "Domain Name:            " << tolk::printable(domain) << '\n';
  const std::string ready = readAttribute(rootDse, tolk::AD_GC_READY, &verbose);
  out << prefix(2) << "isGlobalCatalogReady:   " << tolk::printable(ready) << '\n';
  const std::string controllerLevel =
      functionalLevelText(rootDse, "domainControllerFunctionality", &verbose);
  const std::string forestLevel = functionalLevelText(rootDse, "forestFunctionality", &verbose);
  const std::string domainLevel = functionalLevelText(rootDse, "domainFunctionality", &verbose);
  out << prefix(2) << "domainFunctionality:           " << domainLevel << '\n'
      << prefix(2) << "forestFunctionality:           " << forestLevel << '\n'
      << prefix(2) << "domainControllerFunctionality: " << controllerLevel << '\n';
}

}  // namespace

void siteControllers(TaskContext& context, tolk::HostPortList& out, std::ostream* verbose) {
  out.clear();
  std::ostream& sink = sinkOf(verbose);
  const auto binding = getBinding(context, nullptr, verbose);
  if (!binding) return;
  takeConfigurationContext(context, *binding);
  if (context.configNamingContext.empty()) {
    sink << prefix(2) << "Retrieving server objects failed because empty configCtx \n";
    std::cout << prefix(2) << "return empty DC list because configCtx is empty\n";
    return;
  }
  const std::string base = siteServersBase(context.site, context.configNamingContext);
  sink << prefix(2) << "Retrieving server objects from " << tolk::printable(base) << '\n'
       << std::flush;
  try {
    out = readSiteServers(*binding, base);
  } catch (const std::exception& e) {
    sink << prefix(2) << "Failed to get DC in current site: " << tolk::printable(e.what()) << '\n';
    out.clear();
  }
}

void showControllers(TaskContext& context, const tolk::HostPortList& servers,
                     std::ostream* verbose) {
  std::vector<std::string> names;
  for (const tolk::HostPort& server : servers) names.push_back(hostAndPort(server));
  std::ostream& sink = sinkOf(verbose);
  readRootDses(names, sink, [&](const std::string& name, tolk::ADObject rootDse) {
    writeController(std::cout, context, name, std::move(rootDse), sink);
  });
  std::cout << prefix(1) << "Forest Name: " << tolk::printable(context.forestName) << '\n'
            << std::flush;
}

void writeController(std::ostream& out, TaskContext& context, const std::string& name,
                     tolk::ADObject rootDse, std::ostream& verbose) {
  out << prefix(1) << "Domain Controller: " << tolk::printable(name) << '\n';
  if (!rootDse) {
    out << prefix(2) << "Failed to retrieve root object\n";
    return;
  }
  writeRootDse(out, context, rootDse, verbose);
}

}  // namespace joinscope
