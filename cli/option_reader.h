// The walk over the options in the order of the command line.
#pragma once

#include <optional>
#include <vector>

#include "cli/refusal.h"

namespace joinscope {

struct Options;
struct UserCredentials;

/// Reads all options of `argv` with getopt_long(3), which permutes the arguments, into both
/// records. `words` becomes the arguments that are no options. The first error in argument order
/// ends it, and so does --help (status 0, with usage text). A password is moved out of `argv`.
std::optional<Refusal> readOptions(int argc, char** argv, UserCredentials& credentials,
                                   Options& options, std::vector<const char*>& words);

}  // namespace joinscope
