// Root DSE report of the controllers, and the controllers of the host's site.
#include "cli/diag/controllers.h"

#include <algorithm>
#include <iostream>
#include <span>
#include <utility>
#include <vector>

#include "cli/account/binding.h"
#include "cli/common/output.h"
#include "cli/common/task_context.h"
#include "cli/diag/functional_levels.h"
#include "cli/diag/root_dse.h"
#include "cli/diag/srv_records.h"
#include "facts/sites.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/root_dse_reads.h"
#include "tolk/net/event_loop.h"

namespace joinscope {
namespace {

/// Connections open at one time, so that a large forest does not use up the descriptors.
constexpr std::size_t kReadsTogether = 64;

/// The lines below the title; the order of the reads is that of the lines of diagnostics.
void writeRootDse(std::ostream& out, TaskContext& ctx, tolk::ADObject& rootDse,
                  std::ostream* diag) {
  ctx.win2kController = normalizeFunctionalLevels(ctx, rootDse, diag);
  out << prefix(2) << "Domain controller type: " << controllerTypeText(rootDse) << '\n';
  if (ctx.configNamingContext.empty()) {
    ctx.configNamingContext = readAttribute(rootDse, tolk::AD_CONFIG_NAMING_CTX, diag);
  }
  if (ctx.forestName.empty()) {
    ctx.forestName = readDomainAttribute(rootDse, tolk::AD_ROOT_NAMING_CTX, diag);
  }
  const std::string domain = readDomainAttribute(rootDse, tolk::AD_DEFAULT_NAMING_CTX, diag);
  out << prefix(2) << "Domain Name:            " << tolk::printable(domain) << '\n';
  const std::string ready = readAttribute(rootDse, tolk::AD_GC_READY, diag);
  out << prefix(2) << "isGlobalCatalogReady:   " << tolk::printable(ready) << '\n';
  const std::string controllerLevel =
      functionalLevelText(rootDse, "domainControllerFunctionality", diag);
  const std::string forestLevel = functionalLevelText(rootDse, "forestFunctionality", diag);
  const std::string domainLevel = functionalLevelText(rootDse, "domainFunctionality", diag);
  out << prefix(2) << "domainFunctionality:           " << domainLevel << '\n'
      << prefix(2) << "forestFunctionality:           " << forestLevel << '\n'
      << prefix(2) << "domainControllerFunctionality: " << controllerLevel << '\n';
}

void showTogether(TaskContext& ctx, std::span<const std::string> names, std::ostream* diag) {
  tolk::EventLoop loop;
  tolk::RootDseReads reads(loop, {names.begin(), names.end()});
  for (const std::string& name : names) {
    writeController(std::cout, ctx, name, readRootDse(reads, name, diag), diag);
  }
}

}  // namespace

void siteControllers(TaskContext& ctx, tolk::HostPortList& out, std::ostream* diag) {
  out.clear();
  const auto binding = getBinding(ctx, nullptr, diag);
  if (!binding) return;
  takeConfigurationContext(ctx, *binding);
  if (ctx.configNamingContext.empty()) {
    if (diag != nullptr) {
      *diag << prefix(2) << "Retrieving server objects failed because empty configCtx \n";
    }
    std::cout << prefix(2) << "return empty DC list because configCtx is empty\n";
    return;
  }
  const std::string base = siteServersBase(ctx.site, ctx.configNamingContext);
  if (diag != nullptr) {
    *diag << prefix(2) << "Retrieving server objects from " << tolk::printable(base) << '\n'
          << std::flush;
  }
  try {
    out = readSiteServers(*binding, base);
  } catch (const std::exception& e) {
    if (diag != nullptr) {
      *diag << prefix(2) << "Failed to get DC in current site: " << tolk::printable(e.what())
            << '\n';
    }
    out.clear();
  }
}

void takeConfigurationContext(TaskContext& ctx, tolk::ADBinding& binding) {
  try {
    const std::string context = binding.configurationContext();
    if (!context.empty()) ctx.configNamingContext = context;
  } catch (const std::exception& e) {
    tolk::noteTrouble("cli.joinscope",
                      std::string("Cannot read the root DSE: ") + tolk::printable(e.what()));
  }
}

void showControllers(TaskContext& ctx, const tolk::HostPortList& servers, std::ostream* diag) {
  std::vector<std::string> names;
  for (const tolk::HostPort& server : servers) names.push_back(hostAndPort(server));
  std::span<const std::string> rest = names;
  while (!rest.empty()) {
    const std::size_t count = std::min(rest.size(), kReadsTogether);
    showTogether(ctx, rest.first(count), diag);
    rest = rest.subspan(count);
  }
  std::cout << prefix(1) << "Forest Name: " << tolk::printable(ctx.forestName) << '\n'
            << std::flush;
}

void writeController(std::ostream& out, TaskContext& ctx, const std::string& name,
                     tolk::ADObject rootDse, std::ostream* diag) {
  out << prefix(1) << "Domain Controller: " << tolk::printable(name) << '\n';
  if (!rootDse) {
    out << prefix(2) << "Failed to retrieve root object\n";
    return;
  }
  writeRootDse(out, ctx, rootDse, diag);
}

}  // namespace joinscope
