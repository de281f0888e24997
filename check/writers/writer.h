// The three forms of a judgement, and the table of rules. Each escapes what is foreign in it by
// tolk::printable.
#pragma once

#include <string>
#include <string_view>

#include "check/judgement.h"

namespace joinscope::check {

struct TextStyle {
  bool colour = false;
  bool all = false;  ///< also what is fine and what was not checked (-v)
  std::size_t width = 80;
};

/// For people: headline, first causes with what to do and what follows, warnings, the counts.
std::string textReport(const Judgement& judgement, const facts::Facts& facts,
                       const TextStyle& style);

/// One object by docs/joincheck.schema.json, and a line end.
std::string jsonReport(const Judgement& judgement, const facts::Facts& facts);
/// The same for a run that came to no judgement.
std::string jsonError(std::string_view message, int status);

/// Metrics in the text format that node_exporter's textfile collector reads.
std::string prometheusReport(const Judgement& judgement, const facts::Facts& facts);
/// The same for a run that came to no judgement.
std::string prometheusError(int status);

/// All rules, one a line: id and title (--list).
std::string ruleList();
/// What a rule looks at, what it needs, what wrong looks like, the remedy, the source: in Markdown.
std::string explanation(const Rule& rule);

/// The host's name as it was joined, else as it calls itself.
std::string hostOf(const facts::Facts& facts);

}  // namespace joinscope::check
