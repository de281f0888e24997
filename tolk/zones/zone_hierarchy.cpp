// A computer's zone is found by the entry that is managed by it: the entry stands in a container
// of the zone.
#include "tolk/zones/zone_hierarchy.h"

#include <boost/make_shared.hpp>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/zones/zone_layout.h"

namespace tolk {
namespace {

constexpr int kStandardLayout = 1;
constexpr const char* kZoneAttributes[] = {AD_CN, AD_NAME, AD_OBJECT_CLASS, AD_DISPLAY_NAME,
                                           nullptr};
constexpr const char* kEntryAttributes[] = {AD_DN_ONLY, nullptr};

std::string entryFilter(const ADObject& computer) {
  return "(&(" + std::string(AD_KEYWORDS) + '=' + std::string(kZoneEntryKeyword) + ")(" +
         AD_MANAGED_BY + '=' + DN::escapeLDAPFilter(computer.dn()) + "))";
}

}  // namespace

ZoneHierarchy::ZoneHierarchy() : standard_(boost::make_shared<const ZoneSchema>()) {}

boost::shared_ptr<ZoneHierarchy> ZoneHierarchy::GetZoneHierarchy() {
  static const boost::shared_ptr<ZoneHierarchy> hierarchy(new ZoneHierarchy());
  return hierarchy;
}

boost::shared_ptr<const ZoneSchema> ZoneHierarchy::getSchema(int generation,
                                                             const void* /*reserved*/) const {
  if (generation != kStandardLayout) {
    throw TOLKException("There is no zone layout " + std::to_string(generation));
  }
  return standard_;
}

void ZoneHierarchy::extendObject(ADObject& object, ADBinding& binding,
                                 const CacheOptions& /*cache*/) const {
  if (object.getInt(TOLK_EXT_FILTER, 0) == ZoneObjectKind::computer) {
    extendComputer(object, binding);
  } else {
    standard_->convert(object);
  }
}

void ZoneHierarchy::extendComputer(ADObject& computer, ADBinding& binding) {
  const boost::shared_ptr<ADObjectList> entries =
      binding.search(entryFilter(computer), LDAPBinding::DNSNameToDN(binding.domainName()),
                     kEntryAttributes, SearchScope::subtree, 0, 0, SearchFlags::none);
  entries->sort([](const ADObject& left, const ADObject& right) { return left.dn() < right.dn(); });
  for (const ADObject& entry : *entries) {
    const std::string zoneDn = zoneOfEntry(entry.dn());
    if (zoneDn.empty()) continue;
    ADObject zone = binding.fetch(zoneDn, kZoneAttributes, AD_ALL_OBJECTS, false);
    if (!isZoneObject(zone)) continue;
    computer[TOLK_ZONE_DN] = zoneDn;
    computer[TOLK_ZONE_NAME] = zone.getString(AD_CN, zone.getString(AD_NAME, ""));
    return;
  }
}

}  // namespace tolk
