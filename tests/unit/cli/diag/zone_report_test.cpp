// The zone listing's text, and what it says without a directory.
#include "cli/diag/zone_report.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <sstream>
#include <string>

#include "cli/common/task_context.h"
#include "tests/unit/tolk/ldap/slapd.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

using tolk::test::Slapd;

tolk::ADObject zone(const char* dn, const char* name, const char* marker) {
  tolk::ADObject object(dn);
  object[tolk::AD_DN] = std::string(dn);
  object[tolk::TOLK_ZONE_NAME] = std::string(name);
  object[tolk::AD_DISPLAY_NAME] = std::string(marker);
  return object;
}

TEST(ZoneReport, EveryVersionAndEveryKindOfName) {
  const tolk::ADObjectList zones{
      zone("CN=A,DC=lab,DC=test", "A", "$OrvaldZone2"),
      zone("CN=B\\, b,CN=A,DC=lab,DC=test", "B, b", "$OrvaldZone3"),
      zone("CN=C\\\"c\\\",DC=lab,DC=test", "C\"c\"", "$OrvaldZone4"),
      zone("CN=D/d,DC=lab,DC=test", "D/d", "$OrvaldZone5"),
      zone("CN=Ä,DC=lab,DC=test", "Ä", "$OrvaldZone6"),
      zone("CN=F\\1B[1m,DC=lab,DC=test", "F\x1b[1m", "$orvaldzone7"),
      zone("no name", "", "$OrvaldZone9"),
      zone("CN=H,DC=lab,DC=test", "H", "$OrvaldZone8"),
      zone("CN=I,DC=lab,DC=test", "I", "$OrvaldZone22"),
  };
  std::ostringstream out;
  writeZones(out, {}, "Microsoft SFU");
  writeZones(out, zones, "Standard 2307");
  EXPECT_EQ(out.str(), R"(  Pellion Standard 2307 zones:
    A (2.x) - lab.test/A
    B, b (3.x) - lab.test/A/B, b
    C"c" (4.x) - lab.test/C"c"
    D/d (4.x) - lab.test/D\/d
    Ä (5.x) - lab.test/Ä
    F\x1B[1m (5.x) - lab.test/F\x1B[1m
     (5.x) - no name
    H (Unknown) - lab.test/H
    I (Unknown) - lab.test/I
)");
}

TEST(ZoneReport, WithoutABindingItsMessageIsShownTwice) {
  TaskContext context(nullptr, "lab.test", nullptr);
  context.bindFailed = true;
  context.errorMessage = "LDAP: no luck";
  testing::internal::CaptureStdout();
  zoneReport(context, nullptr, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\nRetrieving zone data from lab.test\n"
            "LDAP: no luck\n"
            "  Cannot connect to GC, trying DC...\n"
            "  Cannot read zone data: unable to bind to DC.\n"
            "LDAP: no luck\n");
  EXPECT_FALSE(context.zonesLoaded);
}

/// A context whose global catalog is slapd with three zones; needs no tickets.
class ZoneReportOfServer : public testing::Test {
 protected:
  void SetUp() override {
    if (!Slapd::available()) GTEST_SKIP() << "slapd is not installed";
    tolk::Props().set(tolk::PN::TOLKD_PAGED_SEARCH_MAX, "1");
  }

  void connect(const Slapd& server) {
    context.gcBinding =
        boost::make_shared<tolk::ADBinding>("lab.test", "", nullptr, false, "", "", false, false);
    context.gcBinding->connectToServer(server.address());
  }
  std::string report() {
    testing::internal::CaptureStdout();
    zoneReport(context, nullptr, &verbose);
    return testing::internal::GetCapturedStdout();
  }

  static constexpr const char* kZones =
      "dn: cn=a,dc=lab,dc=test\nobjectClass: container\ndisplayName: $OrvaldZone2\n\n"
      "dn: cn=b,dc=lab,dc=test\nobjectClass: container\ndisplayName: $OrvaldZone3\n\n"
      "dn: cn=c,cn=a,dc=lab,dc=test\nobjectClass: container\ndisplayName: $OrvaldZone4\n\n";
  TaskContext context{nullptr, "lab.test", nullptr};
  std::ostringstream verbose;
};

TEST_F(ZoneReportOfServer, ASecondReportReadsNothing) {
  Slapd server("", kZones);
  connect(server);
  const std::string first = report();
  EXPECT_EQ(first,
            "\nRetrieving zone data from lab.test\n  Pellion Standard zones:\n"
            "    a (2.x) - lab.test/a\n    b (3.x) - lab.test/b\n    c (4.x) - lab.test/a/c\n");
  server.kill();
  EXPECT_EQ(report(), first);
  EXPECT_EQ(verbose.str(), "");
}

}  // namespace
}  // namespace joinscope
