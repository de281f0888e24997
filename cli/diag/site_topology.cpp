// Reading and writing the forest's site topology.
#include "cli/diag/site_topology.h"

#include <cstddef>
#include <iostream>
#include <utility>

#include "cli/account/binding.h"
#include "cli/common/output.h"
#include "cli/common/task_context.h"
#include "cli/diag/controllers.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/pipelined_reads.h"

namespace joinscope {
namespace {

constexpr const char* kSiteObject = "siteObject";
constexpr const char* const kSubnetAttributes[] = {"cn", kSiteObject, nullptr};
constexpr const char* const kSiteAttributes[] = {tolk::AD_NAME, nullptr};
constexpr const char* const kServerAttributes[] = {tolk::AD_NAME, tolk::AD_DNS_HOST_NAME, nullptr};

std::string serverBase(const std::string& siteDn) {
  return "CN=Servers," + siteDn;
}

void announce(std::ostream* diag, std::size_t level, const char* what, const std::string& dn) {
  if (diag != nullptr) *diag << prefix(level) << what << tolk::printable(dn) << '\n' << std::flush;
}

std::string siteOf(const tolk::ADObject& subnet) {
  return subnet.getString(kSiteObject, "");
}

/// Asks for everything that one page of subnets needs; the answers come in the same order.
void requestPage(tolk::PipelinedReads& reads, const tolk::ADObjectList& subnets) {
  for (const tolk::ADObject& subnet : subnets) {
    if (!subnet.attributeExists(kSiteObject, true)) continue;
    const std::string siteDn = siteOf(subnet);
    reads.add(tolk::AD_ALL_OBJECTS, siteDn, kSiteAttributes, tolk::SearchScope::base);
    reads.add(tolk::AD_ALL_OBJECTS, serverBase(siteDn), kServerAttributes,
              tolk::SearchScope::oneLevel);
  }
}

SubnetSite takeSubnet(tolk::PipelinedReads& reads, const tolk::ADObject& subnet,
                      std::ostream* diag) {
  SubnetSite entry{.subnet = subnet.getString("cn", ""), .site = {}, .servers = {}};
  if (!subnet.attributeExists(kSiteObject, true)) return entry;
  const std::string siteDn = siteOf(subnet);
  announce(diag, 3, "Retrieving site object from ", siteDn);
  const tolk::ADObjectList sites = reads.next();
  if (!sites.empty()) entry.site = sites.front().getString(tolk::AD_NAME, "");
  announce(diag, 3, "Retrieving server objects from ", serverBase(siteDn));
  for (const tolk::ADObject& server : reads.next()) {
    entry.servers.push_back({.name = server.getString(tolk::AD_NAME, ""),
                             .dnsHostName = server.getString(tolk::AD_DNS_HOST_NAME, "")});
  }
  return entry;
}

std::vector<SubnetSite> readTopology(tolk::LDAPBinding& binding, const std::string& base,
                                     std::ostream* diag) {
  std::vector<SubnetSite> topology;
  tolk::PipelinedReads reads(binding);
  tolk::PagedObjectList page =
      binding.searchPaged(tolk::configuredPageSize(), tolk::AD_ALL_OBJECTS, base, kSubnetAttributes,
                          tolk::SearchScope::oneLevel, 0, 0);
  while (true) {
    requestPage(reads, page.objects());
    for (const tolk::ADObject& subnet : page.objects()) {
      topology.push_back(takeSubnet(reads, subnet, diag));
    }
    if (page.complete()) return topology;
    page.nextPage();
  }
}

}  // namespace

std::vector<SubnetSite> listSiteTopology(TaskContext& ctx, const char* server, std::ostream* diag) {
  const auto binding = getBinding(ctx, server, diag);
  if (!binding) {
    if (diag != nullptr) *diag << prefix(2) << "Cannot read site data: unable to bind to DC.\n";
    std::cout << ctx.errorMessage << '\n';
    return {};
  }
  takeConfigurationContext(ctx, *binding);
  if (ctx.configNamingContext.empty()) {
    std::cout << "Can't retrieve siteinfo without knowing the configuration naming context\n";
    return {};
  }
  const std::string base = "CN=Subnets,CN=Sites," + ctx.configNamingContext;
  announce(diag, 2, "Retrieving subnet objects from ", base);
  try {
    std::vector<SubnetSite> topology = readTopology(*binding, base, diag);
    if (topology.empty() && diag != nullptr) {
      *diag << prefix(2) << "The directory names no subnet there: no site is listed\n";
    }
    return topology;
  } catch (const std::exception& e) {
    if (diag != nullptr) {
      *diag << prefix(2) << "Cannot read site data: " << tolk::printable(e.what()) << '\n';
    }
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
