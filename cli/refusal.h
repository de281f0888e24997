// Why a command line is not run.
#pragma once

#include <string>

#include "cli/common/exit_status.h"

namespace joinscope {

/// Ends the run before it starts: what is told, and the exit status.
struct Refusal {
  int status = exit_status::kUsageError;
  std::string error = {};    ///< lines for standard error, each with its line end; told first
  bool withUsage = true;     ///< the usage text is printed
  std::string message = {};  ///< the line in front of the usage text; none when empty
};

}  // namespace joinscope
