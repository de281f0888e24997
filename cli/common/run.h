// What one run hands from its dispatch to the last section.
#pragma once

#include <iosfwd>

namespace joinscope {

struct TaskContext;

/// What tasks and sections draw on; all of it outlives the run.
struct Run {
  /// The same from the three arguments that every report takes: `server` and `verbose` may be null.
  Run(TaskContext& taskContext, const char* namedServer, std::ostream* diagnostics);

  TaskContext& context;
  const char* server;     ///< the one the user named (--servername), else null
  std::ostream& verbose;  ///< the diagnostic stream; swallows what is written without --verbose
};

/// `stream`, or for null one that swallows what is written to it.
std::ostream& sinkOf(std::ostream* stream);

/// Whether anybody reads a sink; what is learnt for that reader alone need not be asked otherwise.
bool isRead(const std::ostream& sink);

}  // namespace joinscope
