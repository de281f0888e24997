// The walk over the options in the order of the command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/common/exit_status.h"

namespace joinscope {

struct Options;
struct UserCredentials;

/// Ends the run before it starts: what is told, and the exit status.
struct Refusal {
  int status = exit_status::kUsageError;
  std::string error = {};    ///< lines for standard error, each with its line end; told first
  bool withUsage = true;     ///< the usage text is printed
  std::string message = {};  ///< the line in front of the usage text; none when empty
};

/// Reads all options of `argv` with getopt_long(3), which permutes the arguments, into both
/// records. `words` becomes the arguments that are no options. The first error in argument order
/// ends it, and so does --help (status 0, with usage text). A password is moved out of `argv`.
std::optional<Refusal> readOptions(int argc, char** argv, UserCredentials& credentials,
                                   Options& options, std::vector<const char*>& words);

}  // namespace joinscope
