// The three forms of a judgement. Each escapes what is foreign in it by tolk::printable.
#pragma once

#include <iosfwd>
#include <string>

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

/// Metrics in the text format that node_exporter's textfile collector reads.
std::string prometheusReport(const Judgement& judgement, const facts::Facts& facts);

}  // namespace joinscope::check
