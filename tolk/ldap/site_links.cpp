// How near the sites of a forest are to each other.
#include "tolk/ldap/site_links.h"

#include <algorithm>
#include <array>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/ldap_binding.h"

namespace tolk {
namespace {

constexpr int kDefaultCost = 100;  // of a link that notes none

bool joins(const SiteLink& link, const std::string& site) {
  return std::any_of(link.sites.begin(), link.sites.end(),
                     [&site](const std::string& other) { return equalsIgnoringCase(other, site); });
}

// "Paris" of "CN=Paris,CN=Sites,...".
std::string siteOf(const std::string& dn) {
  const std::string path = DN::canonicalFromDN(dn);
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

// Every link costs at least nothing, so the nearest site is one link away: a way over a third site
// passes a site that is no farther.
std::string nextClosestSite(const std::vector<SiteLink>& links, const std::string& site) {
  std::string nearest;
  int least = 0;
  for (const SiteLink& link : links) {
    if (!joins(link, site)) continue;
    for (const std::string& other : link.sites) {
      if (equalsIgnoringCase(other, site)) continue;
      const bool nearer = nearest.empty() || link.cost < least ||
                          (link.cost == least && lessIgnoringCase(other, nearest));
      if (!nearer) continue;
      nearest = other;
      least = link.cost;
    }
  }
  return nearest;
}

std::vector<SiteLink> readSiteLinks(LDAPBinding& binding) {
  constexpr std::array<const char*, 2> kContext{AD_CONFIG_NAMING_CTX, nullptr};
  constexpr std::array<const char*, 3> kAttributes{"cost", "siteList", nullptr};
  const ADObject root = binding.fetch("", kContext.data(), AD_ALL_OBJECTS, true);
  const std::string base =
      "CN=IP,CN=Inter-Site Transports,CN=Sites," + root.getString(AD_CONFIG_NAMING_CTX, "");
  const auto found = binding.search("(objectClass=siteLink)", base, kAttributes.data(),
                                    SearchScope::oneLevel, 0, 0, SearchFlags::none);
  std::vector<SiteLink> links;
  for (const ADObject& object : *found) {
    SiteLink link{.cost = object.getInt("cost", kDefaultCost), .sites = {}};
    for (const std::string& dn : object.getStrings("siteList")) link.sites.push_back(siteOf(dn));
    links.push_back(std::move(link));
  }
  return links;
}

}  // namespace tolk
