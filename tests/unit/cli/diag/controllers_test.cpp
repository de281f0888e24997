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
  ControllerText() : context(nullptr, "lab.test", nullptr) { context.bindFailed = true; }

  std::string write(const tolk::ADObject& object) {
    std::ostringstream out;
    writeController(out, context, "dc1.lab.test:389", object, verbose);
    return out.str();
  }

  TaskContext context;
  std::ostringstream verbose;
};

TEST_F(ControllerText, MissingValuesLeaveTheirLabelsAndAreToldInReadingOrder) {
  tolk::ADObject object("");
  object["forestFunctionality"] = 2;
  object["defaultNamingContext"] = std::string("not a name");
  object["isGlobalCatalogReady"] = std::string("TRUE\n  Forest Name: evil.test");
  EXPECT_EQ(write(object),
            "  Domain Controller: dc1.lab.test:389\n"
            "    Domain controller type: Windows 2000\n"
            "    Domain Name:            \n"
            "    isGlobalCatalogReady:   TRUE\\x0A  Forest Name: evil.test\n"
            "    domainFunctionality:           \n"
            "    forestFunctionality:           2 = (DS_BEHAVIOR_WIN2003)\n"
            "    domainControllerFunctionality: \n");
  EXPECT_EQ(verbose.str(),
            "    Missing index: configurationNamingContext\n"
            "    Missing index: rootDomainNamingContext\n"
            "    While accessing index defaultNamingContext: 'not a name' is not a distinguished "
            "name\n"
            "    Missing index: domainControllerFunctionality\n"
            "    Missing index: domainFunctionality\n");
}

TEST_F(ControllerText, ForestAndConfigurationComeFromTheFirstServerThatHasThem) {
  tolk::ADObject poor = fullRootDse();
  poor.erase("rootDomainNamingContext");
  write(poor);
  EXPECT_EQ(context.forestName, "");
  tolk::ADObject other = fullRootDse();
  other["configurationNamingContext"] = std::string("CN=Configuration,DC=other,DC=test");
  other["rootDomainNamingContext"] = std::string("DC=other,DC=test");
  write(other);
  EXPECT_EQ(context.forestName, "other.test");
  EXPECT_EQ(context.configNamingContext, "CN=Configuration,DC=lab,DC=test");
  write(fullRootDse());
  EXPECT_EQ(context.forestName, "other.test");
}

}  // namespace
}  // namespace joinscope
