// The identifier ranges of the forest's domains, as the agent daemon gathers them.
#pragma once

#include <iosfwd>
#include <string>

struct OrvKeyValue;

namespace joinscope {

struct TaskContext;

/// On a host in the automatic zone, the ranges on standard output, or on standard error why they
/// cannot be had; nothing on any other host. Waits for a daemon that is still gathering as long as
/// join.velkd.wait.time says. `server` and `verbose` may be null.
void printDomainRids(TaskContext& context, const char* server, std::ostream* verbose);

/// That time; `verbose`, which may be null, is told about it.
long domainRidsWaitSeconds(std::ostream* verbose);

/// Asks once a second, `seconds` times at most. Returns the last code (OrvCode); kStillGathering
/// without a question when `seconds` is not positive. `*set` is null or to be freed with
/// orvFreeKeyValueSet().
int getDomainRids(long seconds, OrvKeyValue** set);

/// Tells a failure on standard error.
void reportRidError(int code);

/// The listing; `joinedDomain` is marked.
void writeDomainRids(std::ostream& out, const OrvKeyValue* set, const std::string& joinedDomain);

}  // namespace joinscope
