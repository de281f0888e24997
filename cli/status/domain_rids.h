// The identifier ranges of the forest's domains, and what keeps them from being shown.
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

/// Tells a failure on standard error.
void reportRidError(int code);

/// The listing; `joinedDomain` is marked.
void writeDomainRids(std::ostream& out, const OrvKeyValue* set, const std::string& joinedDomain);

}  // namespace joinscope
