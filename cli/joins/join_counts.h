// `--joinedcount`: how many machines are joined, by zone and by domain, over the whole forest.
#pragma once

#include <iosfwd>

namespace tolk {
class JoinStats;
}

namespace joinscope {

struct TaskContext;

/// Counts and prints the report. Returns 0, or 3 without a binding or a list of domains. `server`
/// and `verbose` may be null.
int showJoinCounts(TaskContext& context, const char* server, std::ostream* verbose);

/// The report behind its introduction.
void writeJoinCounts(std::ostream& out, const tolk::JoinStats& stats);

}  // namespace joinscope
