// What the command line of joincheck asks for.
#pragma once

#include <optional>
#include <string>

#include "check/judgement.h"
#include "facts/gathering.h"

namespace joinscope::check {

enum class Format { text, json, prometheus, none };

struct Options {
  Format format = Format::text;
  bool all = false;          ///< also what is fine and what was not checked
  bool list = false;         ///< the table of checks, and nothing else
  std::string explain;       ///< the check to explain, or "all"; "" for none
  double timeout = 10;       ///< seconds for one run
  double wait = 0;           ///< seconds until which runs are repeated
  facts::Question question;  ///< without the password
  std::string passwordFile;
  Selection selection;
  std::string saveFile;   ///< where the facts go; "" for nowhere
  std::string factsFile;  ///< whose facts are judged; "" for this host's
};

/// What a command line comes to: options, or an exit status when everything has been said.
struct Parsed {
  Options options;
  std::optional<int> ended;
};

/// Says on standard error what is wrong and what to do about it, and on standard output the help
/// that was asked for.
Parsed parseOptions(int argc, const char* const* argv);

}  // namespace joinscope::check
