// The `--diag` report: its sections in their order.
#pragma once

#include <iosfwd>

namespace joinscope {

struct TaskContext;

/// Writes every section to standard output, an empty line after each. Always returns 0; throws
/// TOLKException when the host's site is not known yet and no controller of the joined domain can
/// be found. `server` (from --servername) and `verbose` may be null.
int diagReport(TaskContext& context, const char* server, std::ostream* verbose);

}  // namespace joinscope
