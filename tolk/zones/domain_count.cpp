// Four passes over pages: zones, entries, disabled computers, computers. Kept are counts and the
// zones' names.
#include "tolk/zones/domain_count.h"

#include <utility>

#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/zones/join_kind.h"
#include "tolk/zones/zone_layout.h"
#include "tolk/zones/zone_readers.h"
#include "tolk/zones/zone_schema.h"

namespace tolk {
namespace {

constexpr int kPageSize = 1000;  // the most that a controller hands out in one page by default
constexpr const char* kEntryAttributes[] = {AD_MANAGED_BY, nullptr};
constexpr const char* kDisabledAttributes[] = {AD_MANAGED_OBJECTS, nullptr};
constexpr const char* kComputerAttributes[] = {AD_OS_SERVICE_PACK, nullptr};

// The account is disabled: bit 2, tested with LDAP_MATCHING_RULE_BIT_AND (MS-ADTS 3.1.1.3.4.4.1).
constexpr const char* kDisabledFilter =
    "(&(objectCategory=computer)(userAccountControl:1.2.840.113556.1.4.803:=2))";

std::string entryFilter() {
  return '(' + std::string(AD_KEYWORDS) + '=' + std::string(kZoneEntryKeyword) + ')';
}

std::string computerFilter() {
  return "(&(objectCategory=computer)(" + std::string(AD_OS_SERVICE_PACK) + '=' +
         std::string(kAgentPrefix) + "*))";
}

// Every object that matches below `base`, one page in memory at a time.
template <class Take>
void forEach(ADBinding& binding, const std::string& base, const std::string& filter,
             const char* const* attributes, const std::function<void(std::size_t)>& seen,
             Take take) {
  PagedObjectList page = binding.searchPaged(kPageSize, filter, base, attributes,
                                             SearchScope::subtree, 0, SearchFlags::none);
  for (;;) {
    for (const ADObject& object : std::as_const(page).objects()) take(object);
    seen(page.objects().size());
    if (page.complete()) return;
    page.nextPage();
  }
}

void add(DomainJoins& joins, JoinKind kind) {
  switch (kind) {
    case JoinKind::zone:
      ++joins.zone;
      break;
    case JoinKind::autoZone:
      ++joins.autoZone;
      break;
    case JoinKind::sprig:
      ++joins.sprig;
      break;
    case JoinKind::oem:
      ++joins.oem;
      break;
    case JoinKind::unknown:
      ++joins.unknown;
      break;
    case JoinKind::notRecorded:
      break;
  }
}

}  // namespace

DomainCounter::DomainCounter(ADBinding& binding, std::function<void(std::size_t)> seen)
    : binding_(binding),
      seen_(std::move(seen)),
      base_(LDAPBinding::DNSNameToDN(binding.domainName())) {}

DomainCount DomainCounter::count() {
  readZones();
  countEntries();
  countDisabled();
  countComputers();
  return std::move(result_);
}

void DomainCounter::readZones() {
  const auto add = [this](const ZoneReader& reader) {
    const boost::shared_ptr<ADObjectList> zones = reader.getZoneList(binding_, base_);
    for (const ADObject& zone : *zones) {
      result_.zones.push_back({.name = zone.getString(TOLK_ZONE_NAME, "")});
      result_.zoneByDn[toLower(zone.dn())] = &result_.zones.back();
    }
  };
  add(ORVSchema(0, std::string(SCHEMA_ORV_V2_0), "", 0));
  add(ORVSchemaR2(0, "", 0));
  add(SFUSchema(0, std::string(SCHEMA_SFU_V3_0), "", 0));
}

void DomainCounter::countEntries() {
  step_ = "reading the computers in zones";
  forEach(binding_, base_, entryFilter(), kEntryAttributes, seen_, [this](const ADObject& entry) {
    const auto zone = result_.zoneByDn.find(toLower(zoneOfEntry(entry.dn())));
    if (zone == result_.zoneByDn.end()) return;
    const bool joined = entry.attributeExists(AD_MANAGED_BY, true);
    ++(joined ? zone->second->joins : zone->second->orphans);
  });
}

void DomainCounter::countDisabled() {
  step_ = "reading the disabled computers";
  forEach(binding_, base_, kDisabledFilter, kDisabledAttributes, seen_,
          [this](const ADObject& computer) {
            for (const std::string& entry : computer.getStrings(AD_MANAGED_OBJECTS)) {
              const std::string zone = toLower(zoneOfEntry(entry));
              if (!zone.empty()) ++result_.disabledByZone[zone];
            }
          });
}

void DomainCounter::countComputers() {
  step_ = "reading the joined computers";
  forEach(binding_, base_, computerFilter(), kComputerAttributes, seen_,
          [this](const ADObject& computer) {
            add(result_.computers, joinKindOf(computer.getString(AD_OS_SERVICE_PACK, "")));
          });
}

}  // namespace tolk
