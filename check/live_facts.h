// The facts of this host, now.
#pragma once

#include "check/options.h"
#include "facts/facts.h"

namespace joinscope::check {

/// Gathers them until they are whole, --timeout is over or a signal comes; `run.cut` names what
/// ended it early. What takes longer than a second is told on standard error where that is a
/// terminal. A run that was cut leaves threads that are still asking: the process has to end by
/// _exit(2).
facts::Facts gatherFacts(const Options& options);

}  // namespace joinscope::check
