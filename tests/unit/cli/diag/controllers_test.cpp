// The text of one server's root DSE, and what the run learns from it.
#include "cli/diag/controllers.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/common/task_context.h"

namespace joinscope {
namespace {

tolk::ADObject fullRootDse() {
  tolk::ADObject object("");
  object["configurationNamingContext"] = std::string("CN=Configuration,DC=lab,DC=test");
  object["rootDomainNamingContext"] = std::string("DC=lab,DC=test");
  object["defaultNamingContext"] = std::string("DC=north,DC=lab,DC=test");
  object["isGlobalCatalogReady"] = std::string("TRUE");
  object["domainFunctionality"] = 4;
  object["forestFunctionality"] = 3;
  object["domainControllerFunctionality"] = 7;
  return object;
}

class ControllerText : public ::testing::Test {
 protected:
  ControllerText() : ctx(nullptr, "lab.test", nullptr) { ctx.bindFailed = true; }

  std::string write(const tolk::ADObject& object) {
    std::ostringstream out;
    writeController(out, ctx, "dc1.lab.test:389", object, &diag);
    return out.str();
  }

  TaskContext ctx;
  std::ostringstream diag;
};

TEST_F(ControllerText, FullRootDse) {
  EXPECT_EQ(write(fullRootDse()), R"(  Domain Controller: dc1.lab.test:389
    Domain controller type: Windows 2016
    Domain Name:            north.lab.test
    isGlobalCatalogReady:   TRUE
    domainFunctionality:           4 = (DS_BEHAVIOR_WIN2008_R2)
    forestFunctionality:           3 = (DS_BEHAVIOR_WIN2008)
    domainControllerFunctionality: 7 = (DS_BEHAVIOR_WINSERVER_2016)
)");
  EXPECT_EQ(diag.str(), "");
  EXPECT_EQ(ctx.configNamingContext, "CN=Configuration,DC=lab,DC=test");
  EXPECT_EQ(ctx.forestName, "lab.test");
  EXPECT_FALSE(ctx.win2kController);
}

TEST_F(ControllerText, UnreadServerTeachesNothing) {
  ctx.win2kController = true;
  EXPECT_EQ(write({}), R"(  Domain Controller: dc1.lab.test:389
    Failed to retrieve root object
)");
  EXPECT_TRUE(ctx.win2kController);
}

TEST_F(ControllerText, MissingValuesLeaveTheirLabelsAndAreToldInReadingOrder) {
  tolk::ADObject object("");
  object["forestFunctionality"] = 2;
  object["defaultNamingContext"] = std::string("not a name");
  EXPECT_EQ(write(object),
            "  Domain Controller: dc1.lab.test:389\n"
            "    Domain controller type: Windows 2000\n"
            "    Domain Name:            \n"
            "    isGlobalCatalogReady:   \n"
            "    domainFunctionality:           \n"
            "    forestFunctionality:           2 = (DS_BEHAVIOR_WIN2003)\n"
            "    domainControllerFunctionality: \n");
  std::istringstream lines(diag.str());
  const char* const starts[] = {"    Missing index: configurationNamingContext",
                                "    Missing index: rootDomainNamingContext",
                                "    While accessing index defaultNamingContext: ",
                                "    Missing index: isGlobalCatalogReady",
                                "    Missing index: domainControllerFunctionality",
                                "    Missing index: domainFunctionality"};
  std::string line;
  for (const char* start : starts) {
    ASSERT_TRUE(std::getline(lines, line)) << start;
    EXPECT_EQ(line.rfind(start, 0), 0U) << line;
  }
  EXPECT_FALSE(std::getline(lines, line)) << line;
}

TEST_F(ControllerText, ForestAndConfigurationComeFromTheFirstServerThatHasThem) {
  tolk::ADObject poor = fullRootDse();
  poor.erase("rootDomainNamingContext");
  write(poor);
  EXPECT_EQ(ctx.forestName, "");
  tolk::ADObject other = fullRootDse();
  other["configurationNamingContext"] = std::string("CN=Configuration,DC=other,DC=test");
  other["rootDomainNamingContext"] = std::string("DC=other,DC=test");
  write(other);
  EXPECT_EQ(ctx.forestName, "other.test");
  EXPECT_EQ(ctx.configNamingContext, "CN=Configuration,DC=lab,DC=test");
  write(fullRootDse());
  EXPECT_EQ(ctx.forestName, "other.test");
}

TEST_F(ControllerText, HostileValuesAreEscaped) {
  tolk::ADObject object = fullRootDse();
  object["isGlobalCatalogReady"] = std::string("TRUE\n  Forest Name: evil.test");
  EXPECT_NE(write(object).find("isGlobalCatalogReady:   TRUE\\x0A  Forest Name: evil.test\n"),
            std::string::npos);
}

}  // namespace
}  // namespace joinscope
