// One search for the subnets; then for each page two reads a subnet, all on their way before the
// first answer is taken.
#include "facts/sites.h"

#include <utility>

#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/ldap_binding.h"
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
                      const SiteWait& waiting) {
  SubnetSite entry{.subnet = subnet.getString("cn", ""), .site = {}, .servers = {}};
  if (!subnet.attributeExists(kSiteObject, true)) return entry;
  const std::string siteDn = siteOf(subnet);
  waiting(SiteRead::site, siteDn);
  const tolk::ADObjectList sites = reads.next();
  if (!sites.empty()) entry.site = sites.front().getString(tolk::AD_NAME, "");
  waiting(SiteRead::servers, serverBase(siteDn));
  for (const tolk::ADObject& server : reads.next()) {
    entry.servers.push_back({.name = server.getString(tolk::AD_NAME, ""),
                             .dnsHostName = server.getString(tolk::AD_DNS_HOST_NAME, "")});
  }
  return entry;
}

}  // namespace

std::string subnetsBase(const std::string& configurationContext) {
  return "CN=Subnets,CN=Sites," + configurationContext;
}

std::string siteServersBase(const std::string& site, const std::string& configurationContext) {
  return "CN=servers,cn=" + tolk::DN::escapeValue(site) + ",CN=Sites," + configurationContext;
}

std::vector<SubnetSite> readSubnets(tolk::ADBinding& binding, const std::string& base,
                                    const SiteWait& waiting) {
  std::vector<SubnetSite> subnets;
  tolk::PipelinedReads reads(binding);
  tolk::PagedObjectList page =
      binding.searchPaged(tolk::configuredPageSize(), tolk::AD_ALL_OBJECTS, base, kSubnetAttributes,
                          tolk::SearchScope::oneLevel, 0, 0);
  page.keepAll();
  while (true) {
    requestPage(reads, page.objects());
    for (const tolk::ADObject& subnet : page.objects()) {
      subnets.push_back(takeSubnet(reads, subnet, waiting));
    }
    if (page.complete()) return subnets;
    page.nextPage();
  }
}

tolk::HostPortList readSiteServers(tolk::ADBinding& binding, const std::string& base) {
  const char* const attributes[] = {tolk::AD_DNS_HOST_NAME, nullptr};
  const auto objects =
      binding.search("(dNSHostName=*)", base, attributes, tolk::SearchScope::oneLevel, 0, 0, 0);
  tolk::HostPortList servers;
  for (const tolk::ADObject& object : *objects) {
    tolk::HostPort entry;
    entry.host = tolk::toLower(object.getString(tolk::AD_DNS_HOST_NAME, ""));
    entry.port = 389;
    servers.push_back(std::move(entry));
  }
  if (servers.empty()) {
    tolk::noteTrouble("cli.joinscope", "The directory names no server below " +
                                           tolk::printable(base) + " that has a DNS name");
  }
  return servers;
}

}  // namespace joinscope
