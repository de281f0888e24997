// The tasks with their gates and handlers.
#pragma once

#include "cli/gates.h"

namespace joinscope {

/// Checks the gate of the run's task and calls its handler. Returns the handler's status, or the
/// gate's; a task without a handler is an internal error (2), a failure of the agent library that
/// leaves the handler another (3), both told on standard error. Other exceptions go on to the
/// caller.
int runTask(const Run& run);

}  // namespace joinscope
