// Every rule over recorded facts: no network, one file a fault.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "check/judgement.h"
#include "tests/unit/check/fact_cases.h"

namespace {

using joinscope::check::Finding;
using joinscope::check::Grade;
using joinscope::check::Judgement;
using joinscope::test::FactCase;

std::string idOf(const std::vector<const Finding*>& findings) {
  return findings.empty() ? "nothing" : std::string(findings.front()->rule->id);
}

/// Each rule of this grade.
std::string idsWith(const Judgement& judgement, const std::string& grade) {
  std::string ids;
  for (const Finding& finding : judgement.findings) {
    if (finding.outcome() == grade) ids += (ids.empty() ? "" : " ") + std::string(finding.rule->id);
  }
  return ids;
}

/// What is so of a rule, or of the whole, in the words of `expected`: a grade, or a grade and a
/// part of the text.
std::string actual(const Judgement& judgement, const std::string& key,
                   const std::string& expected) {
  if (key == "first") return idOf(judgement.firstCauses());
  if (key == "status") return std::to_string(judgement.exitStatus());
  if (key.starts_with("all ")) return idsWith(judgement, key.substr(4));
  for (const Finding& finding : judgement.findings) {
    if (finding.rule->id != key) continue;
    const std::size_t colon = expected.find(": ");
    if (colon == std::string::npos) return finding.outcome();
    const std::string part = expected.substr(colon + 2);
    const bool found = finding.verdict.text.find(part) != std::string::npos;
    return std::string(finding.outcome()) + ": " + (found ? part : finding.verdict.text);
  }
  return "there is no such rule";
}

TEST(RulesTest, SayOfEachCaseWhatItExpects) {
  for (const FactCase& one : joinscope::test::factCases()) {
    const Judgement judgement = joinscope::check::judge(one.facts);
    for (const auto& [key, expected] : one.expected) {
      EXPECT_EQ(expected, actual(judgement, key, expected)) << one.name << ", " << key;
    }
  }
}

TEST(RulesTest, HaveACaseInWhichTheyAreNotFine) {
  std::set<std::string_view> seen;
  for (const FactCase& one : joinscope::test::factCases()) {
    for (const Finding& finding : joinscope::check::judge(one.facts).findings) {
      const bool expected = std::ranges::any_of(
          one.expected, [&finding](const auto& row) { return row.first == finding.rule->id; });
      if (expected && finding.verdict.grade >= Grade::warning) seen.insert(finding.rule->id);
    }
  }
  for (const joinscope::check::Rule* rule : joinscope::check::allRules()) {
    EXPECT_TRUE(seen.contains(rule->id)) << "no case of tests/data/facts breaks " << rule->id;
  }
}

}  // namespace
