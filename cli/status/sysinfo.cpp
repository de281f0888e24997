// The text is the daemon's own and is passed on as it comes.
#include "cli/status/sysinfo.h"

#include <exception>
#include <iostream>
#include <string>

#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "facts/agent_state.h"
#include "tolk/base/text.h"

namespace joinscope {

int sysinfo(TaskContext& context, std::uint32_t mask, std::ostream* verbose) {
  std::cout << "System Diagnostic\n";
  if (!context.joined) {
    std::cout << prefix(1) << "Not joined to any domain\n";
    return exit_status::kNotJoined;
  }
  std::cout.flush();  // a daemon that does not answer is waited for
  try {
    std::cout << readSystemInfo(mask);
    return exit_status::kSuccess;
  } catch (const std::exception& failure) {
    std::cerr << prefix(1) << "Failed to get sysinfo from velkd.\n";
    sinkOf(verbose) << prefix(1) << "Reason: " << tolk::printable(failure.what()) << '\n';
    return exit_status::kInternalError;
  }
}

}  // namespace joinscope
