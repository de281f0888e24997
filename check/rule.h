// What a rule of joincheck is: one comparison of facts, its verdict, and what people are told about
// it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "facts/facts.h"

namespace joinscope::check {

/// In the order of their weight.
enum class Grade {
  fine,
  notMeant,  ///< does not concern this host: nothing of the kind is installed or configured
  unknown,   ///< could not be checked
  warning,
  broken,
};

/// A rule's answer. Foreign text may stand in it as it came: the writers escape it.
struct Verdict {
  Grade grade = Grade::fine;
  std::string text = {};               ///< one sentence or two: what is, with the evidence
  std::vector<std::string> next = {};  ///< what to do, the first line a command where there is one
  /// Broken by evidence that stands on its own, whatever else is broken: never a consequence.
  bool evident = false;
};

/// Short ways to write one.
inline Verdict fine(std::string text = {}) {
  return {.grade = Grade::fine, .text = std::move(text)};
}
inline Verdict notMeant(std::string text) {
  return {.grade = Grade::notMeant, .text = std::move(text)};
}
inline Verdict unknown(std::string text) {
  return {.grade = Grade::unknown, .text = std::move(text)};
}
inline Verdict warning(std::string text, std::vector<std::string> next = {}) {
  return {.grade = Grade::warning, .text = std::move(text), .next = std::move(next)};
}
inline Verdict broken(std::string text, std::vector<std::string> next = {}) {
  return {.grade = Grade::broken, .text = std::move(text), .next = std::move(next)};
}
inline Verdict evident(Verdict verdict) {
  verdict.evident = true;
  return verdict;
}

/// One rule. Its judgement is pure: facts in, verdict out.
struct Rule {
  std::string_view id;     ///< "keytab.version": group and name
  std::string_view title;  ///< what holds when it is fine: "The keytab has the account's keys"
  /// The ids, separated by blanks, of rules without which this one says nothing of its own: when
  /// one of them is broken, what this one finds is its consequence. A rule that compares facts
  /// which are in hand needs none.
  std::string_view needs;
  Verdict (*judge)(const facts::Facts& facts);
  std::string_view looksAt;  ///< for --explain: which facts, in a sentence
  std::string_view wrong;    ///< what wrong looks like and what comes of it
  std::string_view remedy;   ///< in general; a verdict's own `next` goes before it
  std::string_view source;   ///< public source
};

/// The rules of one group, in the order of the table.
std::span<const Rule> hostRules();
std::span<const Rule> joinRules();
std::span<const Rule> resolverRules();
std::span<const Rule> dnsRules();
std::span<const Rule> dnsNameRules();
std::span<const Rule> controllerRules();
std::span<const Rule> portRules();
std::span<const Rule> timeRules();
std::span<const Rule> kerberosRules();
std::span<const Rule> keytabRules();
std::span<const Rule> keyRules();
std::span<const Rule> loginRules();
std::span<const Rule> accountRules();
std::span<const Rule> accountNameRules();
std::span<const Rule> siteRules();
std::span<const Rule> directoryRules();
std::span<const Rule> joiningRules();
std::span<const Rule> otherAgentRules();
std::span<const Rule> agentRules();
std::span<const Rule> platformRules();

/// The one table: all of them, what lies deepest first.
const std::vector<const Rule*>& allRules();

}  // namespace joinscope::check
