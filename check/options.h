// What the command line of joincheck asks for.
#pragma once

#include <optional>
#include <string>

#include "check/judgement.h"
#include "facts/gathering.h"

namespace joinscope::check {

struct Options {
  bool all = false;          ///< also what is fine and what was not checked
  double timeout = 10;       ///< seconds for the whole run
  facts::Question question;  ///< without the password
  Selection selection;
  std::string saveFile;   ///< where the facts go; "" for nowhere
  std::string factsFile;  ///< whose facts are judged; "" for this host's
};

/// What a command line comes to: options, or an exit status when everything has been said.
struct Parsed {
  Options options;
  std::optional<int> ended;
};

/// Says what is wrong on standard error, and on standard output the help that was asked for.
Parsed parseOptions(int argc, const char* const* argv);

}  // namespace joinscope::check
