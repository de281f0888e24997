// The command joincheck, from its arguments to its exit status.
#pragma once

namespace joinscope::check {

/// Never throws. Ends the process where a run was cut while threads are still asking.
int run(int argc, char** argv) noexcept;

}  // namespace joinscope::check
