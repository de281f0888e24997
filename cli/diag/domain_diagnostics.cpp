// The "Domain Diagnostics" section, step by step.
#include "cli/diag/domain_diagnostics.h"

#include <algorithm>
#include <iostream>

#include "cli/common/output.h"
#include "cli/common/subnet_site.h"
#include "cli/common/task_context.h"
#include "cli/diag/connectivity.h"
#include "cli/diag/controllers.h"
#include "cli/diag/root_dse.h"
#include "cli/diag/site_topology.h"
#include "cli/diag/srv_records.h"
#include "cli/diag/zone_report.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/net/network_state.h"

namespace joinscope {
namespace {

/// One pass over the section; the two lists are those of the pass at hand.
class DomainSection {
 public:
  DomainSection(TaskContext& ctx, const char* server, std::ostream* diag)
      : ctx_(ctx), server_(server), diag_(diag) {}

  void write();

 private:
  void findHostSite();
  void findControllers();
  void addSiteControllers();
  void writeProgress();
  void testAndShow();
  void secondPass();
  void announceDnsSearch(const char* what, const std::string& domain);
  void showSitesAndZones();

  TaskContext& ctx_;
  const char* server_;
  std::ostream* diag_;
  tolk::HostPortList catalogs_;
  tolk::HostPortList controllers_;
  bool foundInDns_ = true;
};

void DomainSection::write() {
  std::cout << prefix(0) << "Domain Diagnostics\n" << prefix(1);
  if (ctx_.domain.empty()) {
    std::cout << "Domain not specified\n";
  } else {
    std::cout << "Domain: " << ctx_.domain << '\n';
  }
  std::cout.flush();
  findHostSite();
  writeSubnetSite(std::cout, ctx_.site);
  if (ctx_.domain.empty()) return;
  findControllers();
  writeProgress();
  printSrvRecords(&std::cout, controllers_);
  if (controllers_.empty()) {
    if (diag_ != nullptr) printSrvAdvice(*diag_, ctx_.domain);
    return;
  }
  testAndShow();
  if (server_ == nullptr) secondPass();
  if (!ctx_.bindFailed) showSitesAndZones();
}

void DomainSection::findHostSite() {
  if (!ctx_.site.empty()) return;
  const std::string controller =
      server_ != nullptr
          ? server_
          : tolk::NetworkState::getDCForDomain(
                ctx_.joinedDomain, tolk::ServiceType::domainController, false, "", false);
  ctx_.site = lookupSubnetSite(ctx_.domain, ctx_.site, controller, diag_);
}

void DomainSection::findControllers() {
  if (server_ != nullptr) {
    controllers_ = namedController(server_);
    catalogs_ = namedCatalog(server_);
    foundInDns_ = false;
    return;
  }
  foundInDns_ = querySrvRecords("_ldap._tcp." + ctx_.domain, controllers_, diag_, false) == 1;
  try {
    addSiteControllers();
  } catch (const tolk::TOLKException& e) {
    std::cerr << prefix(2) << "Cannot get DC info for domain " << ctx_.domain << " : "
              << tolk::printable(e.what()) << '\n';
  }
}

/// Adds the controllers of the host's site, which DNS may not name.
void DomainSection::addSiteControllers() {
  const std::string controller = tolk::NetworkState::getDCForDomain(
      ctx_.joinedDomain, tolk::ServiceType::domainController, false, "", true);
  if (controller.empty()) return;
  (void)tolk::NetworkState::getDCInfo(controller, true);  // throws when it does not answer
  if (ctx_.configNamingContext.empty()) {
    const tolk::ADObject rootDse = readRootDse(controller + ":389", diag_);
    if (rootDse.empty()) {
      tolk::NetworkState::passOver(controller, tolk::ServiceType::domainController,
                                   "its root DSE cannot be read at port 389");
    }
    ctx_.configNamingContext = readAttribute(rootDse, tolk::AD_CONFIG_NAMING_CTX, diag_);
  }
  tolk::HostPortList siteList;
  siteControllers(ctx_, siteList, diag_);
  appendMissing(controllers_, siteList);
}

void DomainSection::writeProgress() {
  if (diag_ == nullptr) return;
  if (server_ != nullptr) {
    *diag_ << prefix(1) << "DC service record is given on command line:\n";
  } else if (foundInDns_) {
    std::cout << prefix(1) << "Locating domain controllers for " << ctx_.domain << " from DNS\n";
  } else {
    std::cout << prefix(1) << "DC service records not in DNS.  Checking configuration file:\n";
  }
}

void DomainSection::testAndShow() {
  testConnectivity(ctx_, catalogs_, controllers_, diag_);
  showControllers(ctx_, mergedServers(catalogs_, controllers_), diag_);
}

void DomainSection::announceDnsSearch(const char* what, const std::string& domain) {
  if (diag_ == nullptr) return;
  *diag_ << prefix(1) << "Locating " << what << " for " << tolk::printable(domain)
         << " from DNS.\n";
}

/// The forest's global catalogs, and the controllers again when DNS did not name them before.
void DomainSection::secondPass() {
  if (diag_ != nullptr) *diag_ << prefix(1) << '\n';
  catalogs_.clear();
  controllers_.clear();
  if (!ctx_.forestName.empty()) {
    announceDnsSearch("global catalogs", ctx_.forestName);
    querySrvRecords("_gc._tcp." + ctx_.forestName, catalogs_, diag_, true);
    printSrvRecords(diag_, catalogs_);
  }
  if (!foundInDns_) {
    announceDnsSearch("domain controllers", ctx_.domain);
    querySrvRecords("_ldap._tcp." + ctx_.domain, controllers_, diag_, true);
    printSrvRecords(diag_, controllers_);
  }
  testAndShow();
}

void DomainSection::showSitesAndZones() {
  if (diag_ != nullptr) {
    *diag_ << prefix(1) << "Retrieving site data from " << ctx_.domain << '\n';
  }
  writeSiteTopology(std::cout, listSiteTopology(ctx_, server_, diag_));
  if (!ctx_.bindFailed) zoneReport(ctx_, server_, diag_);
}

}  // namespace

void domainDiagnostics(TaskContext& ctx, const char* server, std::ostream* diag) {
  DomainSection(ctx, server, diag).write();
}

void appendMissing(tolk::HostPortList& list, const tolk::HostPortList& more) {
  for (const tolk::HostPort& entry : more) {
    if (std::ranges::find(list, entry) == list.end()) list.push_back(entry);
  }
}

tolk::HostPortList mergedServers(const tolk::HostPortList& gcs, const tolk::HostPortList& dcs) {
  tolk::HostPortList merged = gcs;
  appendMissing(merged, dcs);
  return merged;
}

void writeSubnetSite(std::ostream& out, const std::string& site) {
  out << prefix(1) << "Subnet site: " << tolk::printable(site) << '\n';
  if (!site.empty()) return;
  out << "WARNING! Unable to locate computer's subnet site in Active Directory.\n"
         "Ask your Active Directory administrator to add this computer's subnet\n"
         "to the appropriate site.\n";
}

}  // namespace joinscope
