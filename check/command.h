// The command joincheck, from its arguments to its exit status.
#pragma once

namespace joinscope::check {

/// Never throws. Where a run was cut threads may still be asking when it returns: the process has
/// to end by _exit(2).
int run(int argc, char** argv) noexcept;

}  // namespace joinscope::check
