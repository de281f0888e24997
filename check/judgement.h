// Rules over facts: what is broken first, what follows from it, and what that means as a whole.
#pragma once

#include <string>
#include <vector>

#include "check/rule.h"

namespace joinscope::check {

/// The verdict of one rule within the whole.
struct Finding {
  const Rule* rule = nullptr;
  Verdict verdict;
  std::vector<const Rule*> causes = {};  ///< the first causes that it follows from; empty: its own

  [[nodiscard]] bool follows() const { return !causes.empty(); }
  /// The grade's name, or "follows": "fine", "not meant", "unknown", "warning", "broken".
  [[nodiscard]] const char* outcome() const;
};

/// Exit statuses, by the convention of monitoring plug-ins.
struct ExitStatus {
  static constexpr int kSound = 0;
  static constexpr int kWarning = 1;
  static constexpr int kBroken = 2;
  static constexpr int kUnknown = 3;  ///< nothing broken seen, but something needed was not checked
  static constexpr int kUsage = 64;   ///< sysexits.h
};

/// How many findings of each kind; what follows is counted there alone.
struct Counts {
  int fine = 0;
  int broken = 0;
  int warnings = 0;
  int following = 0;
  int unknown = 0;
};

struct Judgement {
  std::vector<Finding> findings;  ///< in the order of the table
  bool partial = false;           ///< something ended the gathering, or a part of it, early

  /// What is broken of itself, that on which most depends first.
  [[nodiscard]] std::vector<const Finding*> firstCauses() const;
  /// The findings that follow from it.
  [[nodiscard]] std::vector<const Finding*> consequencesOf(const Rule& cause) const;
  [[nodiscard]] std::vector<const Finding*> withGrade(Grade grade) const;
  [[nodiscard]] Counts counts() const;
  [[nodiscard]] int exitStatus() const;
  /// That status for people: "SOUND", "WARNING", "BROKEN", "UNKNOWN".
  [[nodiscard]] const char* word() const;
};

/// Which rules are told of: all, or those whose id begins with one of `only` and with none of
/// `skip`. A rule that is left out is judged nonetheless where another needs it.
struct Selection {
  std::vector<std::string> only = {};
  std::vector<std::string> skip = {};

  [[nodiscard]] bool takes(const Rule& rule) const;
};

/// Pure.
Judgement judge(const facts::Facts& facts, const Selection& selection = {});

}  // namespace joinscope::check
