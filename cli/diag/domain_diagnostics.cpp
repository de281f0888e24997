// The "Domain Diagnostics" section, step by step.
#include "cli/diag/domain_diagnostics.h"

#include <algorithm>
#include <iostream>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/subnet_site.h"
#include "cli/common/task_context.h"
#include "cli/diag/connectivity.h"
#include "cli/diag/controllers.h"
#include "cli/diag/root_dse.h"
#include "cli/diag/site_topology.h"
#include "cli/diag/srv_records.h"
#include "cli/diag/zone_report.h"
#include "facts/controllers.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

/// One pass over the section; the two lists are those of the pass at hand.
class DomainSection {
 public:
  explicit DomainSection(const Run& run)
      : context_(run.context), server_(run.server), verbose_(run.verbose) {}

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

  TaskContext& context_;
  const char* server_;
  std::ostream& verbose_;
  tolk::HostPortList catalogs_;
  tolk::HostPortList controllers_;
  bool foundInDns_ = true;
};

void DomainSection::write() {
  std::cout << prefix(0) << "Domain Diagnostics\n" << prefix(1);
  if (context_.domain.empty()) {
    std::cout << "Domain not specified\n";
  } else {
    std::cout << "Domain: " << context_.domain << '\n';
  }
  std::cout.flush();
  findHostSite();
  writeSubnetSite(std::cout, context_.site);
  if (context_.domain.empty()) return;
  findControllers();
  writeProgress();
  printSrvRecords(&std::cout, controllers_);
  if (controllers_.empty()) {
    printSrvAdvice(verbose_, context_.domain);
    return;
  }
  testAndShow();
  if (server_ == nullptr) secondPass();
  if (!context_.bindFailed) showSitesAndZones();
}

void DomainSection::findHostSite() {
  if (!context_.site.empty()) return;
  const std::string controller = server_ != nullptr ? server_ : controllerOf(context_.joinedDomain);
  context_.site = lookupSubnetSite(context_.domain, context_.site, controller, &verbose_);
}

void DomainSection::findControllers() {
  if (server_ != nullptr) {
    controllers_ = namedController(server_);
    catalogs_ = namedCatalog(server_);
    foundInDns_ = false;
    return;
  }
  foundInDns_ =
      querySrvRecords("_ldap._tcp." + context_.domain, controllers_, &verbose_, false) == 1;
  try {
    addSiteControllers();
  } catch (const tolk::TOLKException& e) {
    std::cerr << prefix(2) << "Cannot get DC info for domain " << context_.domain << " : "
              << tolk::printable(e.what()) << '\n';
  }
}

/// Adds the controllers of the host's site, which DNS may not name.
void DomainSection::addSiteControllers() {
  const std::string controller = answeringController(context_.joinedDomain);
  if (controller.empty()) return;
  if (context_.configNamingContext.empty()) {
    const tolk::ADObject rootDse = readRootDse(controller + ":389", &verbose_);
    if (rootDse.empty()) {
      passOverController(controller, "its root DSE cannot be read at port 389");
    }
    context_.configNamingContext = readAttribute(rootDse, tolk::AD_CONFIG_NAMING_CTX, &verbose_);
  }
  tolk::HostPortList siteList;
  siteControllers(context_, siteList, &verbose_);
  appendMissing(controllers_, siteList);
}

void DomainSection::writeProgress() {
  if (!isRead(verbose_)) return;  // two of the lines go to the report
  if (server_ != nullptr) {
    verbose_ << prefix(1) << "DC service record is given on command line:\n";
  } else if (foundInDns_) {
    std::cout << prefix(1) << "Locating domain controllers for " << context_.domain
              << " from DNS\n";
  } else {
    std::cout << prefix(1) << "DC service records not in DNS.  Checking configuration file:\n";
  }
}

void DomainSection::testAndShow() {
  testConnectivity(context_, catalogs_, controllers_, &verbose_);
  showControllers(context_, mergedServers(catalogs_, controllers_), &verbose_);
}

void DomainSection::announceDnsSearch(const char* what, const std::string& domain) {
  verbose_ << prefix(1) << "Locating " << what << " for " << tolk::printable(domain)
           << " from DNS.\n";
}

/// The forest's global catalogs, and the controllers again when DNS did not name them before.
void DomainSection::secondPass() {
  verbose_ << prefix(1) << '\n';
  catalogs_.clear();
  controllers_.clear();
  if (!context_.forestName.empty()) {
    announceDnsSearch("global catalogs", context_.forestName);
    querySrvRecords("_gc._tcp." + context_.forestName, catalogs_, &verbose_, true);
    printSrvRecords(&verbose_, catalogs_);
  }
  if (!foundInDns_) {
    announceDnsSearch("domain controllers", context_.domain);
    querySrvRecords("_ldap._tcp." + context_.domain, controllers_, &verbose_, true);
    printSrvRecords(&verbose_, controllers_);
  }
  testAndShow();
}

void DomainSection::showSitesAndZones() {
  verbose_ << prefix(1) << "Retrieving site data from " << context_.domain << '\n';
  writeSiteTopology(std::cout, listSiteTopology(context_, server_, &verbose_));
  if (!context_.bindFailed) zoneReport(context_, server_, &verbose_);
}

}  // namespace

void domainDiagnostics(TaskContext& context, const char* server, std::ostream* verbose) {
  DomainSection(Run(context, server, verbose)).write();
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
