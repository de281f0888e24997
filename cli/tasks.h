// The tasks with what must hold before each, and their handlers.
#pragma once

#include "cli/common/task.h"

namespace joinscope {

struct Options;
struct Run;

/// The name that the verbose dump shows; "<unknown>" for a task that has none, and for test and
/// orbinfo.
const char* taskName(Task task) noexcept;

/// Checks the gate of the task that `options` ask for and calls its handler. Returns the handler's
/// status, or the gate's; a task without a handler is an internal error (2), a failure of the agent
/// library that leaves the handler another (3), both told on standard error. Other exceptions go on
/// to the caller.
int runTask(const Run& run, const Options& options);

}  // namespace joinscope
