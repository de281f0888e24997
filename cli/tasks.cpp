// One row a task: its gate and its handler. A gate is the checks before the task.
#include "cli/tasks.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <optional>

#include "cli/account/computer_account.h"
#include "cli/account/password_check.h"
#include "cli/common/error_text.h"
#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/common/trouble_lines.h"
#include "cli/common/version.h"
#include "cli/diag/connectivity.h"
#include "cli/diag/diag_report.h"
#include "cli/joins/join_counts.h"
#include "cli/options.h"
#include "cli/status/config_report.h"
#include "cli/status/join_status.h"
#include "cli/status/orbinfo.h"
#include "cli/status/single_values.h"
#include "cli/status/sysinfo.h"
#include "cli/support/collect_support.h"
#include "cli/usage.h"
#include "tolk/base/exceptions.h"

namespace joinscope {
namespace {

// Nothing to go on, else the exit status to end with, after telling why.
using Check = std::optional<int> (*)(const Run&);
using Gate = std::array<Check, 2>;  // in this order; null is none

std::optional<int> requireDomain(const Run& run) {
  if (run.context.joined || run.context.domainGiven) return {};
  usage("No domain specified\nSpecify a domain or join the machine to a domain\n");
  return exit_status::kUsageError;
}

std::optional<int> requireJoined(const Run& run) {
  if (run.context.joined) return {};
  std::cerr << "Not joined to any domain.\n";
  return exit_status::kNotJoined;
}

// The binding that this makes stays in the context for the task.
std::optional<int> requireGoodCredentials(const Run& run) {
  if (run.context.credentials == nullptr) return {};
  const int status = checkPassword(run.context, run.options.serverName, run.diag, true);
  return status == exit_status::kSuccess ? std::nullopt : std::optional(status);
}

constexpr Gate kOpen{};
constexpr Gate kJoinedOrDomain{requireDomain};
constexpr Gate kJoinedAndUser{requireJoined, requireGoodCredentials};
constexpr Gate kUser{requireGoodCredentials};

struct TaskEntry {
  Task task;
  const char* name;  ///< in the verbose dump, which knows two of the tasks by no name
  Gate gate;
  int (*handler)(const Run&);
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

constexpr char kUnnamed[] = "<unknown>";

constexpr std::array kTasks{
    TaskEntry{Task::all, "all", kOpen, runAll},
    TaskEntry{Task::diag, "diag", kJoinedOrDomain, runDiag},
    TaskEntry{Task::domain, "domain", kOpen, onContext<printDomain>},
    TaskEntry{Task::zone, "zone", kOpen, runZone},
    TaskEntry{Task::zonedn, "zonedn", kOpen, onContext<printZoneDn>},
    TaskEntry{Task::site, "site", kOpen, onContext<printSite>},
    TaskEntry{Task::server, "server", kOpen, onContext<printServer>},
    TaskEntry{Task::name, "name", kOpen, onContext<printName>},
    TaskEntry{Task::mode, "mode", kOpen, onContext<printMode>},
    TaskEntry{Task::config, "config", kOpen, [](const Run&) { return printConfig(); }},
    TaskEntry{Task::support, "support", kJoinedOrDomain, runSupport},
    TaskEntry{Task::debugcache, "debugcache", kJoinedAndUser, onContext<collectDebugCache>},
    TaskEntry{Task::computer, "computer", kJoinedAndUser, runComputer},
    TaskEntry{Task::auth, "auth", kOpen, runAuth},
    TaskEntry{Task::ntlmauth, "ntlmauth", kOpen, runNtlmAuth},
    TaskEntry{Task::test, kUnnamed, kJoinedOrDomain, runTest},
    TaskEntry{Task::joinedCount, "joined count", kUser, runJoinedCount},
    TaskEntry{Task::version, "version", kOpen, [](const Run&) { return printVersion(); }},
    TaskEntry{Task::productVersion, "product-version", kOpen,
              [](const Run&) { return printProductVersion(); }},
    TaskEntry{Task::globalCatalog, "global catalog", kOpen, onContext<printGlobalCatalog>},
    TaskEntry{Task::sysinfo, "sysinfo", kUser, runSysinfo},
    TaskEntry{Task::orbinfo, kUnnamed, kOpen, onContext<orbinfo>},
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

const TaskEntry* findTask(Task task) {
  const auto* row = std::ranges::find(kTasks, task, &TaskEntry::task);
  return row == kTasks.end() ? nullptr : row;
}

int dispatch(const Run& run) {
  const TroublesAtEnd atEnd(run.diag);
  const TaskEntry* row = findTask(run.options.task);
  for (const Check check : row != nullptr ? row->gate : kUser) {
    if (check == nullptr) continue;
    if (const std::optional<int> status = check(run)) return *status;
  }
  if (row != nullptr) return row->handler(run);
  std::cerr << "Internal error: unknown option " << static_cast<int>(run.options.task) << '\n';
  return exit_status::kUnknownTask;
}

}  // namespace

const char* taskName(Task task) noexcept {
  const TaskEntry* row = findTask(task);
  return row == nullptr ? kUnnamed : row->name;
}

int runTask(const Run& run) {
  try {
    return dispatch(run);
  } catch (const tolk::Base_Exception& error) {
    std::cerr << "Internal error: " << errorText(error) << '\n';
    return exit_status::kInternalError;
  }
}

}  // namespace joinscope
