// Looks into a running process through /proc.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace joinscope::test {

/// The process with this command name in the same network namespace as `neighbour`; 0 when there is
/// none.
pid_t findProcess(const std::string& name, pid_t neighbour);

/// A file of /proc/PID, such as "cmdline", as bytes; empty when it cannot be read.
std::string processFile(pid_t pid, const std::string& name);

/// How often `marker` stands in the process's memory.
std::size_t countInMemory(pid_t pid, const std::string& marker);

}  // namespace joinscope::test
