// The options that print one value for scripts, and --mode. On a host that is not joined and for a
// value that is not known they print nothing and return status 10.
#pragma once

namespace joinscope {

struct TaskContext;

int printDomain(TaskContext& context);
/// The zone's name for people; `server` may be null.
int printZone(TaskContext& context, const char* server);
/// The distinguished name as stored.
int printZoneDn(TaskContext& context);
int printSite(TaskContext& context);
int printServer(TaskContext& context);
int printName(TaskContext& context);
/// A global catalog that is not known is told on standard error, with status 6.
int printGlobalCatalog(TaskContext& context);
/// The name of the agent's state; the status is its number.
int printMode(TaskContext& context);

}  // namespace joinscope
