// The layout is a filter: its note in the description, or for the oldest its absence.
#include "tolk/zones/zone_readers.h"

#include <boost/make_shared.hpp>

#include "tolk/base/join_settings.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/zones/zone_layout.h"
#include "tolk/zones/zone_schema.h"

namespace tolk {
namespace {

constexpr const char* kAttributes[] = {AD_CN,           AD_NAME,        AD_OBJECT_CLASS,
                                       AD_DISPLAY_NAME, AD_DESCRIPTION, nullptr};

void addConverted(ADObjectList& zones, ADObjectList& page) {
  const ZoneSchema schema;
  for (ADObject& zone : page) {
    zone[TOLK_EXT_FILTER] = ZoneObjectKind::zone;
    schema.convert(zone);
    zone.erase(TOLK_EXT_FILTER);
  }
  zones.splice(zones.end(), page);
}

// A generation of a layout lists the ones before it too: nobody else would.
std::vector<std::string_view> upTo(const std::string& schema,
                                   std::initializer_list<std::string_view> generations) {
  std::vector<std::string_view> layouts;
  for (const std::string_view generation : generations) {
    layouts.push_back(generation);
    if (generation == schema) break;
  }
  return layouts;
}

}  // namespace

std::string ZoneReader::filter() const {
  std::string text = "(&(" + std::string(AD_OBJECT_CLASS) + '=' + ZONE_CLASS + ")(" +
                     AD_DISPLAY_NAME + '=' + DN::escapeLDAPFilter(ZONE_MARKER_PREFIX) + "*)(|";
  for (const std::string_view layout : layouts_) {
    text += std::string("(") + AD_DESCRIPTION + '=' +
            DN::escapeLDAPFilter(std::string(kLayoutPrefix).append(layout)) + ')';
  }
  if (unnamedToo_) {
    text += std::string("(!(") + AD_DESCRIPTION + '=' + DN::escapeLDAPFilter(kLayoutPrefix) + "*))";
  }
  return text + "))";
}

boost::shared_ptr<ADObjectList> ZoneReader::getZoneList(ADBinding& binding,
                                                        const std::string& base) const {
  const std::string root = base.empty() ? binding.wholeTree() : base;
  auto zones = boost::make_shared<ADObjectList>();
  PagedObjectList page = binding.searchPaged(configuredPageSize(), filter(), root, kAttributes,
                                             SearchScope::subtree, 0, SearchFlags::none);
  page.keepAll();
  for (;;) {
    addConverted(*zones, page.objects());
    if (page.complete()) return zones;
    page.nextPage();
  }
}

ORVSchema::ORVSchema(int /*reserved*/, const std::string& schema, const std::string& /*server*/,
                     unsigned /*flags*/)
    : ZoneReader(upTo(schema, {SCHEMA_ORV_V1_0, SCHEMA_ORV_V2_0}), true) {}

ORVSchemaR2::ORVSchemaR2(int /*reserved*/, const std::string& /*server*/, unsigned /*flags*/)
    : ZoneReader({SCHEMA_ORV_R2}) {}

SFUSchema::SFUSchema(int /*reserved*/, const std::string& schema, const std::string& /*server*/,
                     unsigned /*flags*/)
    : ZoneReader(upTo(schema, {SCHEMA_SFU_V3_0V1, SCHEMA_SFU_V3_0})) {}

}  // namespace tolk
