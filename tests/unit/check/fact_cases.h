// The cases of tests/data/facts: facts, and what the rules say to them
// (tests/data/facts/README.md).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "facts/facts.h"

namespace joinscope::test {

struct FactCase {
  std::string name;  ///< file and title
  facts::Facts facts;
  std::vector<std::pair<std::string, std::string>> expected;  ///< rule or property, what of it
};

/// Throws BadDataException for a file that is no JSON or no facts.
std::vector<FactCase> factCases();

/// The facts of one case file without cases of its own: "healthy".
facts::Facts factsOf(const std::string& name);

}  // namespace joinscope::test
