// Which broken rule is the cause of what, on the real table and on facts that are broken in known
// ways.
#include "check/judgement.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

#include "tests/unit/check/fact_cases.h"

namespace joinscope::check {
namespace {

using test::factsOf;

std::string idsOf(const std::vector<const Finding*>& findings) {
  std::string ids;
  for (const Finding* one : findings) ids += std::string(one->rule->id) + " ";
  return ids;
}

/// Whether the needs of a rule lead back to itself, or to a rule that is not there.
bool leadsAstray(const std::string& id, const std::map<std::string, std::string>& needs,
                 std::set<std::string>& path) {
  if (!needs.contains(id) || !path.insert(id).second) return true;
  std::istringstream words(needs.at(id));
  for (std::string need; words >> need;) {
    if (leadsAstray(need, needs, path)) return true;
  }
  path.erase(id);
  return false;
}

TEST(JudgementTest, TheTableHasEachIdOnceAndNeedsThatLeadUpwards) {
  std::map<std::string, std::string> needs;
  for (const Rule* rule : allRules()) {
    EXPECT_TRUE(needs.emplace(rule->id, rule->needs).second) << rule->id << " is there twice";
    for (const std::string_view text :
         {rule->title, rule->looksAt, rule->wrong, rule->remedy, rule->source}) {
      EXPECT_FALSE(text.empty()) << rule->id << " leaves a text of --explain empty";
    }
  }
  for (const auto& [id, unused] : needs) {
    std::set<std::string> path;
    EXPECT_FALSE(leadsAstray(id, needs, path)) << id;
  }
}

TEST(JudgementTest, WhatNeedsABrokenRuleFollowsFromTheDeepest) {
  const Judgement judgement = judge(factsOf("keytab-missing"));
  ASSERT_EQ("keytab.present ", idsOf(judgement.firstCauses()));
  const Rule& cause = *judgement.firstCauses().front()->rule;
  EXPECT_NE(std::string::npos, idsOf(judgement.consequencesOf(cause)).find("keytab.host-keys"));
  EXPECT_EQ(ExitStatus::kBroken, judgement.exitStatus());
}

TEST(JudgementTest, OfTwoCausesTheOneOnWhichMoreDependsComesFirst) {
  facts::Facts facts = factsOf("keytab-missing");
  facts.host.addresses.clear();
  EXPECT_EQ("keytab.present host.ipv6 ", idsOf(judge(facts).firstCauses()));
}

TEST(JudgementTest, ASelectionTellsLessAndKnowsTheCausesStill) {
  const facts::Facts facts = factsOf("keytab-missing");
  const Judgement judgement = judge(facts, {.only = {"keytab.h"}, .skip = {}});
  ASSERT_EQ(1U, judgement.findings.size());
  ASSERT_TRUE(judgement.findings.front().follows());
  EXPECT_EQ("keytab.present", judgement.findings.front().causes.front()->id);
  EXPECT_EQ(ExitStatus::kUnknown, judgement.exitStatus());
  EXPECT_TRUE(judge(facts, {.only = {}, .skip = {""}}).findings.empty());
}

}  // namespace
}  // namespace joinscope::check
