// Names of functional levels, and what level 0 turns into.
#include "cli/diag/functional_levels.h"

#include <gtest/gtest.h>

#include <sstream>

#include "cli/common/task_context.h"

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
  FunctionalLevels() : ctx(nullptr, "lab.test", nullptr) { ctx.bindFailed = true; }

  TaskContext ctx;
  std::ostringstream diag;
};

TEST(LevelText, NamesKnownLevelsAndShowsOthersAlone) {
  EXPECT_EQ(levelText(-1), "-1 = (DS_BEHAVIOR_WIN2000_MIXED)");
  EXPECT_EQ(levelText(0), "0 = (DS_BEHAVIOR_WIN2000)");
  EXPECT_EQ(levelText(4), "4 = (DS_BEHAVIOR_WIN2008_R2)");
  EXPECT_EQ(levelText(7), "7 = (DS_BEHAVIOR_WINSERVER_2016)");
  EXPECT_EQ(levelText(8), "8");
  EXPECT_EQ(levelText(-2), "-2");
}

struct LevelCase {
  const char* value;  ///< null: the attribute is missing
  const char* type;
  const char* level;
  const char* diagnostics;
};

TEST_F(FunctionalLevels, ControllerLevelAsTypeAndAsLevel) {
  const LevelCase cases[] = {
      {"0", "Windows 2000", "0 = (DS_BEHAVIOR_WIN2000)", ""},
      {"1", "Windows 2003 Interim", "1 = (DS_BEHAVIOR_WIN2003_INTERIM)", ""},
      {"6", "Windows 2012 R2", "6 = (DS_BEHAVIOR_WINSERVER_2012_R2)", ""},
      {"8", "Unknown DC Functional Level: 8", "8", ""},
      {"-1", "Unknown DC Functional Level: -1", "-1 = (DS_BEHAVIOR_WIN2000_MIXED)", ""},
      {nullptr, "Windows 2000", "", "    Missing index: domainControllerFunctionality\n"},
  };
  for (const LevelCase& c : cases) {
    SCOPED_TRACE(c.type);
    tolk::ADObject object = rootDse({{"forestFunctionality", "7"}});
    if (c.value != nullptr) object["domainControllerFunctionality"] = std::string(c.value);
    std::ostringstream reasons;
    EXPECT_EQ(controllerTypeText(object), c.type);
    EXPECT_EQ(functionalLevelText(object, "domainControllerFunctionality", &reasons), c.level);
    EXPECT_EQ(reasons.str(), c.diagnostics);
  }
}

TEST_F(FunctionalLevels, TextThatIsNoNumberIsShownAndEndsNothing) {
  tolk::ADObject object =
      rootDse({{"domainControllerFunctionality", "seven\a"}, {"domainFunctionality", "x"}});
  EXPECT_FALSE(normalizeFunctionalLevels(ctx, object, &diag));
  EXPECT_EQ(controllerTypeText(object), "Unknown DC Functional Level: seven\\x07");
  EXPECT_EQ(functionalLevelText(object, "domainFunctionality", &diag), "");
  EXPECT_EQ(diag.str().find("    While accessing index domainFunctionality: "), 0U);
}

TEST_F(FunctionalLevels, ObjectWithoutAttributesIsPassedOverInSilence) {
  EXPECT_EQ(functionalLevelText(tolk::ADObject(), "domainFunctionality", &diag), "");
  EXPECT_EQ(functionalLevelText(tolk::ADObject(""), "domainFunctionality", &diag), "");
  EXPECT_EQ(diag.str(), "");
}

TEST_F(FunctionalLevels, HigherDomainLevelIsLeftAlone) {
  tolk::ADObject object = rootDse({{"domainFunctionality", "4"}});
  EXPECT_FALSE(normalizeFunctionalLevels(ctx, object, &diag));
  EXPECT_EQ(object.getInt("domainFunctionality", 0), 4);
}

TEST_F(FunctionalLevels, LevelZeroWithoutABindingGoesAway) {
  tolk::ADObject object = rootDse({{"domainFunctionality", "0"}, {"forestFunctionality", "0"}});
  EXPECT_FALSE(normalizeFunctionalLevels(ctx, object, &diag));
  EXPECT_FALSE(object.attributeExists("domainFunctionality", true));
  EXPECT_TRUE(object.attributeExists("forestFunctionality", true));
}

TEST_F(FunctionalLevels, MissingDomainLevelCountsAsZero) {
  tolk::ADObject object = rootDse({{"domainControllerFunctionality", "2"}});
  EXPECT_FALSE(normalizeFunctionalLevels(ctx, object, &diag));
  EXPECT_FALSE(object.attributeExists("domainFunctionality", true));
}

TEST_F(FunctionalLevels, Windows2000ControllerWithoutAnswerKeepsTwoLevels) {
  // No host name: the question for the mode fails at once and without a network.
  tolk::ADObject object = rootDse({{"defaultNamingContext", "DC=old,DC=test"}});
  EXPECT_TRUE(normalizeFunctionalLevels(ctx, object, &diag));
  EXPECT_FALSE(object.attributeExists("domainFunctionality", true));
  EXPECT_EQ(object.getInt("forestFunctionality", -9), 0);
  EXPECT_EQ(controllerTypeText(object), "Windows 2000");
  EXPECT_EQ(diag.str().find("    LDAP: "), 0U) << diag.str();
}

TEST_F(FunctionalLevels, MixedModeBecomesMinusOne) {
  tolk::ADObject object = rootDse({{"domainFunctionality", "0"}});
  applyMixedMode(object, false);
  EXPECT_EQ(functionalLevelText(object, "domainFunctionality", &diag), "0 = (DS_BEHAVIOR_WIN2000)");
  applyMixedMode(object, true);
  EXPECT_EQ(functionalLevelText(object, "domainFunctionality", &diag),
            "-1 = (DS_BEHAVIOR_WIN2000_MIXED)");
}

}  // namespace
}  // namespace joinscope
