// Names of functional levels, and what level 0 turns into.
#include "cli/diag/functional_levels.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/common/task_context.h"
#include "facts/functional_levels.h"

namespace joinscope {
namespace {

tolk::ADObject rootDse(const std::vector<std::pair<const char*, std::string>>& attributes) {
  tolk::ADObject object("");
  for (const auto& [name, value] : attributes) object[name] = value;
  return object;
}

/// A run that has tried to bind and failed: it asks nobody.
class FunctionalLevels : public ::testing::Test {
 protected:
  FunctionalLevels() : context(nullptr, "lab.test", nullptr) { context.bindFailed = true; }

  TaskContext context;
  std::ostringstream verbose;
};

TEST_F(FunctionalLevels, ControllersLevelIsShownAsTypeAndAsLevel) {
  struct Row {
    const char* value;
    const char* type;
    const char* level;
  };
  const Row rows[] = {
      {"0", "Windows 2000", "0 = (DS_BEHAVIOR_WIN2000)"},
      {"1", "Windows 2003 Interim", "1 = (DS_BEHAVIOR_WIN2003_INTERIM)"},
      {"5", "Windows 2012", "5 = (DS_BEHAVIOR_WINSERVER_2012)"},
      {"6", "Windows 2012 R2", "6 = (DS_BEHAVIOR_WINSERVER_2012_R2)"},
      {"7", "Windows 2016", "7 = (DS_BEHAVIOR_WINSERVER_2016)"},
      {"8", "Unknown DC Functional Level: 8", "8"},
      {"-1", "Unknown DC Functional Level: -1", "-1 = (DS_BEHAVIOR_WIN2000_MIXED)"},
      {"-2", "Unknown DC Functional Level: -2", "-2"},
      {"seven\a", "Unknown DC Functional Level: seven\\x07", ""},
  };
  for (const Row& row : rows) {
    const tolk::ADObject object = rootDse({{kControllerLevel, row.value}});
    EXPECT_EQ(controllerTypeText(object), row.type);
    EXPECT_EQ(functionalLevelText(object, kControllerLevel, &verbose), row.level);
  }
  EXPECT_EQ(verbose.str().find("    While accessing index domainControllerFunctionality: "), 0U);
}

TEST_F(FunctionalLevels, MissingLevelIsToldUnlessTheObjectIsEmpty) {
  const tolk::ADObject object = rootDse({{kForestLevel, "7"}});
  EXPECT_EQ(controllerTypeText(object), "Windows 2000");
  EXPECT_EQ(functionalLevelText(object, kControllerLevel, &verbose), "");
  EXPECT_EQ(functionalLevelText(tolk::ADObject(), kDomainLevel, &verbose), "");
  EXPECT_EQ(functionalLevelText(tolk::ADObject(""), kDomainLevel, &verbose), "");
  EXPECT_EQ(verbose.str(), "    Missing index: domainControllerFunctionality\n");
}

TEST_F(FunctionalLevels, DomainLevelZeroGoesAwayWhenTheModeCannotBeFoundOut) {
  const std::pair<tolk::ADObject, std::string> rows[] = {
      {rootDse({{kDomainLevel, "4"}}), "4 = (DS_BEHAVIOR_WIN2008_R2)"},
      {rootDse({{kDomainLevel, "x"}}), ""},
      {rootDse({{kDomainLevel, "0"}, {kForestLevel, "0"}}), ""},
      {rootDse({{kControllerLevel, "2"}}), ""},  // a missing one counts as 0
  };
  for (auto [object, level] : rows) {
    EXPECT_FALSE(normalizeFunctionalLevels(context, object, &verbose));
    EXPECT_EQ(functionalLevelText(object, kDomainLevel, nullptr), level);
  }
  EXPECT_FALSE(rows[2].first.attributeExists(kDomainLevel, true));
  EXPECT_TRUE(rows[2].first.attributeExists(kForestLevel, true));
}

TEST_F(FunctionalLevels, ServerWithoutAnyLevelIsOfWindows2000) {
  // No host name: the question for the mode fails at once and without a network.
  tolk::ADObject object = rootDse({{"defaultNamingContext", "DC=old,DC=test"}});
  EXPECT_TRUE(normalizeFunctionalLevels(context, object, &verbose));
  EXPECT_FALSE(object.attributeExists(kDomainLevel, true));
  EXPECT_EQ(object.getInt(kForestLevel, -9), 0);
  EXPECT_EQ(controllerTypeText(object), "Windows 2000");
  EXPECT_EQ(verbose.str().find("    LDAP: "), 0U) << verbose.str();
}

TEST_F(FunctionalLevels, MixedModeBecomesMinusOne) {
  tolk::ADObject object = rootDse({{kDomainLevel, "0"}});
  applyMixedMode(object, false);
  EXPECT_EQ(object.getInt(kDomainLevel, -9), 0);
  applyMixedMode(object, true);
  EXPECT_EQ(object.getInt(kDomainLevel, -9), -1);
}

}  // namespace
}  // namespace joinscope
