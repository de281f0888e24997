// `--support` and `--debugcache`.
#pragma once

#include <iosfwd>

namespace joinscope {

struct TaskContext;

/// Writes the support report to `outputFile` (standard output for "-", the default file in the
/// private temporary directory for null) and, when that is a file, runs the agent's scripts that
/// add a stack trace and make the bundle of it and of `extraPaths` (words separated by white space;
/// null for none). Returns 0, or 6 when the file or a descriptor cannot be had. Throws
/// tolk::IOException when there is no private temporary directory, tolk::NotFoundException when
/// /etc/pam.d/ cannot be read; standard output and standard error are as before then, too.
int collectSupport(TaskContext& context, const char* outputFile, const char* extraPaths,
                   const char* server, std::ostream* verbose);

/// Runs the agent's script that collects what helps with its cache. Always 0.
int collectDebugCache(TaskContext& context);

}  // namespace joinscope
