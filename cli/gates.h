// What must hold before a task runs.
#pragma once

#include <iosfwd>
#include <optional>

namespace joinscope {

struct Options;
struct TaskContext;

/// What checks and handlers may draw on; all of it outlives the run.
struct Run {
  TaskContext& context;
  const Options& options;
  std::ostream* diag;  ///< null without --verbose
};

enum class Gate {
  none,
  joinedOrDomain,  ///< a joined host, or a domain on the command line
  joinedAndUser,   ///< a joined host; credentials, when there are any, must be good
  user,            ///< credentials, when there are any, must be good
};

/// Nothing to go on, else the exit status to end with, after telling why.
std::optional<int> checkGate(Gate gate, const Run& run);

}  // namespace joinscope
