// Every rule is judged for itself; then each that is not fine goes up its needs, and where it meets
// a broken one, that is its cause and it is not judged apart.
#include "check/judgement.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

namespace joinscope::check {
namespace {

/// The words of a list.
std::vector<std::string_view> words(std::string_view text) {
  std::vector<std::string_view> found;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    if (end > 0) found.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return found;
}

bool beginsWithOne(std::string_view id, const std::vector<std::string>& prefixes) {
  return std::ranges::any_of(prefixes,
                             [&id](const std::string& prefix) { return id.starts_with(prefix); });
}

/// The verdicts of all rules, and the way from one to its causes.
class Web {
 public:
  explicit Web(const facts::Facts& facts) {
    for (const Rule* rule : allRules()) {
      nodes_.emplace(rule->id, Node{.rule = rule, .verdict = rule->judge(facts)});
    }
  }

  Finding finding(const Rule& rule) {
    return {.rule = &rule, .verdict = nodes_.at(rule.id).verdict, .causes = causesOf(rule.id)};
  }

 private:
  using Causes = std::vector<const Rule*>;
  struct Node {
    const Rule* rule;
    Verdict verdict;
    std::optional<Causes> causes = {};  ///< once they have been looked for
  };

  /// The broken rules up its needs that need no broken one themselves; none for a rule that is
  /// fine.
  const Causes& causesOf(std::string_view id) {
    Node& below = nodes_.at(id);
    if (below.causes) return *below.causes;
    Causes& causes = below.causes.emplace();
    if (!troubled(below) || below.verdict.evident) return causes;
    for (const std::string_view need : words(below.rule->needs)) {
      const Node& above = nodes_.at(need);
      if (!troubled(above)) continue;
      const Causes& higher = causesOf(need);
      if (higher.empty() && above.verdict.grade == Grade::broken) add(causes, above.rule);
      for (const Rule* cause : higher) add(causes, cause);
    }
    return causes;
  }

  static bool troubled(const Node& node) {
    return node.verdict.grade != Grade::fine && node.verdict.grade != Grade::notMeant;
  }
  static void add(Causes& causes, const Rule* cause) {
    if (std::ranges::find(causes, cause) == causes.end()) causes.push_back(cause);
  }

  std::map<std::string_view, Node> nodes_;
};

}  // namespace

const char* Finding::outcome() const {
  constexpr const char* kNames[] = {"fine", "not meant", "unknown", "warning", "broken"};
  return follows() ? "follows" : kNames[static_cast<std::size_t>(verdict.grade)];
}

std::vector<const Finding*> Judgement::firstCauses() const {
  std::vector<const Finding*> causes = withGrade(Grade::broken);
  std::ranges::stable_sort(causes, [this](const Finding* left, const Finding* right) {
    return consequencesOf(*left->rule).size() > consequencesOf(*right->rule).size();
  });
  return causes;
}

std::vector<const Finding*> Judgement::consequencesOf(const Rule& cause) const {
  std::vector<const Finding*> found;
  for (const Finding& finding : findings) {
    if (std::ranges::find(finding.causes, &cause) != finding.causes.end()) {
      found.push_back(&finding);
    }
  }
  return found;
}

std::vector<const Finding*> Judgement::withGrade(Grade grade) const {
  std::vector<const Finding*> found;
  for (const Finding& finding : findings) {
    if (!finding.follows() && finding.verdict.grade == grade) found.push_back(&finding);
  }
  return found;
}

Counts Judgement::counts() const {
  Counts counts;
  for (const Finding& finding : findings) {
    if (finding.follows()) {
      ++counts.following;
      continue;
    }
    switch (finding.verdict.grade) {
      case Grade::fine:
        ++counts.fine;
        break;
      case Grade::notMeant:
        break;
      case Grade::unknown:
        ++counts.unknown;
        break;
      case Grade::warning:
        ++counts.warnings;
        break;
      case Grade::broken:
        ++counts.broken;
        break;
    }
  }
  return counts;
}

int Judgement::exitStatus() const {
  const Counts all = counts();
  if (all.broken > 0) return ExitStatus::kBroken;
  if (partial || all.unknown > 0 || all.following > 0) return ExitStatus::kUnknown;
  return all.warnings > 0 ? ExitStatus::kWarning : ExitStatus::kSound;
}

const char* Judgement::word() const {
  constexpr const char* kWords[] = {"SOUND", "WARNING", "BROKEN", "UNKNOWN"};
  return kWords[exitStatus()];
}

bool Selection::takes(const Rule& rule) const {
  return (only.empty() || beginsWithOne(rule.id, only)) && !beginsWithOne(rule.id, skip);
}

Judgement judge(const facts::Facts& facts, const Selection& selection) {
  Web web(facts);
  Judgement judgement;
  judgement.partial = !facts.run.cut.empty() || !facts.run.unfinished.empty();
  for (const Rule* rule : allRules()) {
    if (selection.takes(*rule)) judgement.findings.push_back(web.finding(*rule));
  }
  return judgement;
}

}  // namespace joinscope::check
