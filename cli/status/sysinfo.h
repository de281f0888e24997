// --sysinfo: what the agent daemon knows about itself.
#pragma once

#include <cstdint>
#include <iosfwd>

namespace joinscope {

struct TaskContext;

/// The daemon's text about the modules whose bits are set in `mask`, on standard output as it
/// comes. Returns 0, 10 on a host that is not joined, 3 when the daemon does not answer; that is
/// told on standard error, and the reason on `verbose`, which may be null.
int sysinfo(TaskContext& context, std::uint32_t mask, std::ostream* verbose);

}  // namespace joinscope
