// The zones of each layout, read page by page from a real directory server.
#include "tolk/zones/zone_readers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/tolk/ldap/slapd.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"

namespace tolk {
namespace {

using test::Slapd;
using Names = std::vector<std::string>;

std::string container(const std::string& name, const std::string& attributes) {
  return "dn: " + name + "ou=People,dc=lab,dc=test\nobjectClass: container\n" + attributes + "\n";
}

std::string zone(const std::string& name, const std::string& marker, const std::string& layout) {
  return container(name + ",", "displayName: " + marker + "\n" +
                                   (layout.empty() ? "" : "description: OrvaldLayout:" + layout) +
                                   "\n");
}

std::string tree() {
  return zone("cn=a", "$OrvaldZone2", "orv_v1_0") + zone("cn=b", "$OrvaldZone4", "orv_v2_0") +
         zone("cn=inner,cn=b", "$OrvaldZone6", "orv_v2_0") +
         zone("cn=r", "$OrvaldZone7", "orv_r2") + zone("cn=plain", "$OrvaldZone3", "") +
         zone("cn=future", "$OrvaldZone77", "ORV_V2_0") +
         zone("cn=s", "$OrvaldZone3", "sfu_v3_0v1") + zone("cn=t", "$OrvaldZone5", "sfu_v3_0") +
         zone("cn=strange", "$OrvaldZone7", "orv_v9_9") + zone("cn=half", "OrvaldZone7", "orv_r2") +
         container("cn=bare,", "description: OrvaldLayout:orv_r2\n");
}

class ZoneReaders : public testing::Test {
 protected:
  void SetUp() override {
    if (!Slapd::available()) GTEST_SKIP() << "slapd is not installed";
    Props().set(PN::TOLKD_PAGED_SEARCH_MAX, "2");
  }

  Names names(const ZoneReader& reader, const std::string& base = "") {
    const boost::shared_ptr<ADObjectList> zones = reader.getZoneList(binding, base);
    Names result;
    for (const ADObject& zone : *zones) {
      EXPECT_FALSE(zone.attributeExists(TOLK_EXT_FILTER, false));
      result.push_back(zone[TOLK_ZONE_NAME]);
    }
    return result;
  }

  // Without tickets: the server takes anonymous searches.
  ADBinding binding{"lab.test", "", nullptr, false, "", "", false, false};
};

TEST_F(ZoneReaders, EachListsItsLayoutUpToItsGeneration) {
  const Slapd server("", tree());
  binding.connectToServer(server.address());
  const ORVSchema first(0, std::string(SCHEMA_ORV_V1_0), "", 0);
  const ORVSchema standard(0, std::string(SCHEMA_ORV_V2_0), "", 0);
  EXPECT_EQ(names(first), (Names{"a", "plain"}));
  EXPECT_EQ(names(standard), (Names{"a", "b", "inner", "plain", "future"}));
  EXPECT_EQ(names(standard, "cn=b,ou=People,dc=lab,dc=test"), (Names{"b", "inner"}));
  EXPECT_EQ(names(ORVSchemaR2(0, "", 0)), (Names{"r"}));
  EXPECT_EQ(names(SFUSchema(0, std::string(SCHEMA_SFU_V3_0V1), "", 0)), (Names{"s"}));
  EXPECT_EQ(names(SFUSchema(0, std::string(SCHEMA_SFU_V3_0), "", 0)), (Names{"s", "t"}));
}

TEST_F(ZoneReaders, AFailureInTheThirdPageLeavesNothing) {
  const Slapd server("limits * size.prtotal=4\n", tree());
  binding.connectToServer(server.address());
  EXPECT_EQ(names(SFUSchema(0, std::string(SCHEMA_SFU_V3_0), "", 0)), (Names{"s", "t"}));
  EXPECT_THROW((void)names(ORVSchema(0, std::string(SCHEMA_ORV_V2_0), "", 0)), LDAPException);
}

}  // namespace
}  // namespace tolk
