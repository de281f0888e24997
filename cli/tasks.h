// The tasks with what must hold before each, and their handlers.
#pragma once

#include <iosfwd>

#include "cli/common/task.h"

namespace joinscope {

struct Options;
struct TaskContext;

/// What checks and handlers may draw on; all of it outlives the run.
struct Run {
  TaskContext& context;
  const Options& options;
  std::ostream* diag;  ///< null without --verbose
};

/// The name that the verbose dump shows; "<unknown>" for a task that has none, and for test and
/// orbinfo.
const char* taskName(Task task) noexcept;

/// Checks the gate of the run's task and calls its handler. Returns the handler's status, or the
/// gate's; a task without a handler is an internal error (2), a failure of the agent library that
/// leaves the handler another (3), both told on standard error. Other exceptions go on to the
/// caller.
int runTask(const Run& run);

}  // namespace joinscope
