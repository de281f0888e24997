// What makes an object a zone, and the filter of the search for service principal names.
#include "tolk/zones/zone_schema.h"

#include <gtest/gtest.h>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/zones/spn_search.h"
#include "tolk/zones/zone_hierarchy.h"
#include "tolk/zones/zone_layout.h"

namespace tolk {
namespace {

TEST(ZoneSchema, NamesContainersWithAVersionMarker) {
  struct Case {
    const char* what;
    std::vector<std::string> classes;
    const char* marker;
    const char* cn;
    const char* name;
    int kind;
    const char* expected;
  };
  const Case cases[] = {
      {"zone", {"top", "container"}, "$OrvaldZone1", "Paris", "other", 26, "Paris"},
      {"in capitals", {"top", "Container"}, "$ORVALDZONE9", "Paris", nullptr, 26, "Paris"},
      {"without cn", {"top", "container"}, "$OrvaldZone1", nullptr, "Rome", 26, "Rome"},
      {"without a name", {"top", "container"}, "$OrvaldZone1", nullptr, nullptr, 26, "none"},
      {"no marker", {"top", "container"}, "Users of Paris", "Paris", "Paris", 26, "none"},
      {"another class", {"top", "group"}, "$OrvaldZone1", "Paris", "Paris", 26, "none"},
      {"not asked for", {"top", "container"}, "$OrvaldZone1", "Paris", "Paris", 2, "none"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    ADObject object("CN=x,DC=lab,DC=test");
    object[AD_OBJECT_CLASS] = row.classes;
    object[AD_DISPLAY_NAME] = row.marker;
    if (row.cn != nullptr) object[AD_CN] = row.cn;
    if (row.name != nullptr) object[AD_NAME] = row.name;
    object[TOLK_EXT_FILTER] = row.kind;
    ZoneHierarchy::GetZoneHierarchy()->getSchema(1, nullptr)->convert(object);
    EXPECT_EQ(object.getString(TOLK_ZONE_NAME, "none"), row.expected);
  }
  ADObject missing;
  missing[TOLK_EXT_FILTER] = ZoneObjectKind::zone;
  ZoneSchema().convert(missing);
  EXPECT_FALSE(missing.attributeExists(TOLK_ZONE_NAME, false));
  EXPECT_THROW((void)ZoneHierarchy::GetZoneHierarchy()->getSchema(2, nullptr), TOLKException);
}

TEST(ZoneSchema, ZoneOfAnEntryIsTwoLevelsUp) {
  EXPECT_EQ(zoneOfEntry("CN=web1,CN=Computers,CN=Paris,DC=lab"), "CN=Paris,DC=lab");
  EXPECT_EQ(zoneOfEntry("CN=a\\,b,cn=computers,CN=c\\\\,DC=lab"), "CN=c\\\\,DC=lab");
  EXPECT_EQ(zoneOfEntry("CN=web1,CN=Users,CN=Paris,DC=lab"), "");
  EXPECT_EQ(zoneOfEntry("CN=web1,CN=Computers"), "");
  EXPECT_EQ(zoneOfEntry("CN=web1\\"), "");
}

TEST(ZoneSchema, NotesInTheDescription) {
  struct Row {
    std::vector<std::string> description;
    const char* layout;
    bool known;
    const char* cloudUrl;
  };
  for (const Row& row : {
           Row{{"OrvaldLayout:orv_r2"}, "orv_r2", true, ""},
           Row{{"of Jo", "OrvaldCloudUrl:https://c.test", "orvaldlayout:SFU_v3_0v1"},
               "sfu_v3_0v1",
               true,
               "https://c.test"},
           Row{{}, "orv_v1_0", true, ""},
           Row{{"no OrvaldLayout:orv_r2"}, "orv_v1_0", true, ""},
           Row{{"OrvaldLayout:auto"}, "auto", false, ""},
       }) {
    SCOPED_TRACE(row.layout);
    ADObject zone;
    zone[AD_DESCRIPTION] = row.description;
    EXPECT_EQ(zoneLayout(zone), row.layout);
    EXPECT_EQ(isZoneLayout(zoneLayout(zone)), row.known);
    EXPECT_EQ(zoneNote(zone, kCloudUrlPrefix), row.cloudUrl);
  }
}

TEST(SpnSearch, EscapesEveryName) {
  EXPECT_EQ(spnFilter({"host/a.lab.test", "host/*)(x=\\"}),
            "(|(servicePrincipalName=host/a.lab.test)"
            "(servicePrincipalName=host/\\2a\\29\\28x=\\5c))");
}

}  // namespace
}  // namespace tolk
