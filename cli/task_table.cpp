// One row a task.
#include "cli/task_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>

#include "cli/account/computer_account.h"
#include "cli/account/password_check.h"
#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/common/trouble_lines.h"
#include "cli/common/version.h"
#include "cli/diag/connectivity.h"
#include "cli/diag/diag_report.h"
#include "cli/error_text.h"
#include "cli/joins/join_counts.h"
#include "cli/options.h"
#include "cli/status/config_report.h"
#include "cli/status/join_status.h"
#include "cli/status/orbinfo.h"
#include "cli/status/single_values.h"
#include "cli/status/sysinfo.h"
#include "cli/support/collect_support.h"
#include "tolk/base/exceptions.h"

namespace joinscope {
namespace {

struct TaskEntry {
  Task task;
  Gate gate;
  int (*handler)(const Run&) = nullptr;
};

int runDiag(const Run& run) {
  return diagReport(run.context, run.options.serverName, run.diag);
}

int runSupport(const Run& run) {
  return collectSupport(run.context, run.options.outputPath, run.options.additionalPaths,
                        run.options.serverName, run.diag);
}

int runTest(const Run& run) {
  return runConnectivityTest(run.context, run.options.serverName, run.diag);
}

int runAll(const Run& run) {
  return joinStatusReport(run.context, run.options.serverName, run.diag);
}

int runComputer(const Run& run) {
  return showComputerAccount(run.context, run.options.serverName, run.diag);
}

int runAuth(const Run& run) {
  return checkPassword(run.context, run.options.serverName, run.diag, false);
}

int runNtlmAuth(const Run& run) {
  return checkNtlmPassword(run.context, run.options.serverName, run.diag, false);
}

int runZone(const Run& run) {
  return printZone(run.context, run.options.serverName);
}

int runJoinedCount(const Run& run) {
  return showJoinCounts(run.context, run.options.serverName, run.diag);
}

int runSysinfo(const Run& run) {
  return sysinfo(run.context, run.options.sysinfoModules, run.diag);
}

/// A task that takes nothing but the context.
template <auto Handler>
int onContext(const Run& run) {
  return Handler(run.context);
}

constexpr std::array kTasks{
    TaskEntry{Task::all, Gate::none, runAll},
    TaskEntry{Task::diag, Gate::joinedOrDomain, runDiag},
    TaskEntry{Task::domain, Gate::none, onContext<printDomain>},
    TaskEntry{Task::zone, Gate::none, runZone},
    TaskEntry{Task::zonedn, Gate::none, onContext<printZoneDn>},
    TaskEntry{Task::site, Gate::none, onContext<printSite>},
    TaskEntry{Task::server, Gate::none, onContext<printServer>},
    TaskEntry{Task::name, Gate::none, onContext<printName>},
    TaskEntry{Task::mode, Gate::none, onContext<printMode>},
    TaskEntry{Task::config, Gate::none, [](const Run&) { return printConfig(); }},
    TaskEntry{Task::support, Gate::joinedOrDomain, runSupport},
    TaskEntry{Task::debugcache, Gate::joinedAndUser, onContext<collectDebugCache>},
    TaskEntry{Task::computer, Gate::joinedAndUser, runComputer},
    TaskEntry{Task::auth, Gate::none, runAuth},
    TaskEntry{Task::ntlmauth, Gate::none, runNtlmAuth},
    TaskEntry{Task::test, Gate::joinedOrDomain, runTest},
    TaskEntry{Task::joinedCount, Gate::user, runJoinedCount},
    TaskEntry{Task::version, Gate::none, [](const Run&) { return printVersion(); }},
    TaskEntry{Task::productVersion, Gate::none, [](const Run&) { return printProductVersion(); }},
    TaskEntry{Task::globalCatalog, Gate::none, onContext<printGlobalCatalog>},
    TaskEntry{Task::sysinfo, Gate::user, runSysinfo},
    TaskEntry{Task::orbinfo, Gate::none, onContext<orbinfo>},
};

constexpr bool inOrderOfEnumeration() {
  for (std::size_t i = 0; i < kTasks.size(); ++i) {
    if (kTasks[i].task != static_cast<Task>(i)) return false;
  }
  return kTasks.size() == static_cast<std::size_t>(Task::help);
}
static_assert(inOrderOfEnumeration());

// Tells what the run met when it ends, also by an exception.
class TroublesAtEnd {
 public:
  explicit TroublesAtEnd(std::ostream* diag) : diag_(diag) {}
  TroublesAtEnd(const TroublesAtEnd&) = delete;
  TroublesAtEnd& operator=(const TroublesAtEnd&) = delete;
  ~TroublesAtEnd() { tellTroubles(diag_); }

 private:
  std::ostream* diag_;
};

int dispatch(const Run& run) {
  const TroublesAtEnd atEnd(run.diag);
  const auto* row = std::ranges::find(kTasks, run.options.task,
                                      [](const TaskEntry& entry) { return entry.task; });
  const bool known = row != kTasks.end();
  if (const auto status = checkGate(known ? row->gate : Gate::user, run)) return *status;
  if (known && row->handler != nullptr) return row->handler(run);
  std::cerr << "Internal error: unknown option " << static_cast<int>(run.options.task) << '\n';
  return exit_status::kUnknownTask;
}

}  // namespace

int runTask(const Run& run) {
  try {
    return dispatch(run);
  } catch (const tolk::Base_Exception& error) {
    std::cerr << "Internal error: " << errorText(error) << '\n';
    return exit_status::kInternalError;
  }
}

}  // namespace joinscope
