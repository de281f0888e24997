// The zone listing's text, and what it says without a directory.
#include "cli/diag/zone_report.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "cli/common/task_context.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

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

TEST(ZoneReport, ListsThatHaveBeenReadAreShownWithoutADirectory) {
  TaskContext context(nullptr, "lab.test", nullptr);
  context.zonesLoaded = true;
  context.standardZones->push_back(zone("CN=A,DC=lab,DC=test", "A", "$OrvaldZone2"));
  context.sfuZones->push_back(zone("CN=S,DC=lab,DC=test", "S", "$OrvaldZone3"));
  testing::internal::CaptureStdout();
  zoneReport(context, nullptr, nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\nRetrieving zone data from lab.test\n"
            "  Pellion Standard zones:\n    A (2.x) - lab.test/A\n"
            "  Pellion Microsoft SFU zones:\n    S (3.x) - lab.test/S\n");
}

}  // namespace
}  // namespace joinscope
