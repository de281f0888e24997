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
#include "cli/common/run.h"
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
  const int status = checkPassword(run.context, run.server, &run.verbose, true);
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
  int (*handler)(const Run&, const Options&);
};

/// A task that takes the whole record.
template <auto Report>
int report(const Run& run, const Options& /*options*/) {
  return Report(run.context, run.server, &run.verbose);
}

/// The two checks of a password.
template <auto Verify>
int verify(const Run& run, const Options& /*options*/) {
  return Verify(run.context, run.server, &run.verbose, false);
}

int support(const Run& run, const Options& options) {
  return collectSupport(run.context, options.outputPath, options.additionalPaths, run.server,
                        &run.verbose);
}

int zone(const Run& run, const Options& /*options*/) {
  return printZone(run.context, run.server);
}

int agentInfo(const Run& run, const Options& options) {
  return sysinfo(run.context, options.sysinfoModules, &run.verbose);
}

/// A task that takes nothing but the context.
template <auto Handler>
int onContext(const Run& run, const Options& /*options*/) {
  return Handler(run.context);
}

/// A task that takes nothing.
template <auto Handler>
int alone(const Run& /*run*/, const Options& /*options*/) {
  return Handler();
}

constexpr char kUnnamed[] = "<unknown>";

constexpr std::array kTasks{
    TaskEntry{Task::all, "all", kOpen, report<joinStatusReport>},
    TaskEntry{Task::diag, "diag", kJoinedOrDomain, report<diagReport>},
    TaskEntry{Task::domain, "domain", kOpen, onContext<printDomain>},
    TaskEntry{Task::zone, "zone", kOpen, zone},
    TaskEntry{Task::zonedn, "zonedn", kOpen, onContext<printZoneDn>},
    TaskEntry{Task::site, "site", kOpen, onContext<printSite>},
    TaskEntry{Task::server, "server", kOpen, onContext<printServer>},
    TaskEntry{Task::name, "name", kOpen, onContext<printName>},
    TaskEntry{Task::mode, "mode", kOpen, onContext<printMode>},
    TaskEntry{Task::config, "config", kOpen, alone<printConfig>},
    TaskEntry{Task::support, "support", kJoinedOrDomain, support},
    TaskEntry{Task::debugcache, "debugcache", kJoinedAndUser, onContext<collectDebugCache>},
    TaskEntry{Task::computer, "computer", kJoinedAndUser, report<showComputerAccount>},
    TaskEntry{Task::auth, "auth", kOpen, verify<checkPassword>},
    TaskEntry{Task::ntlmauth, "ntlmauth", kOpen, verify<checkNtlmPassword>},
    TaskEntry{Task::test, kUnnamed, kJoinedOrDomain, report<runConnectivityTest>},
    TaskEntry{Task::joinedCount, "joined count", kUser, report<showJoinCounts>},
    TaskEntry{Task::version, "version", kOpen, alone<printVersion>},
    TaskEntry{Task::productVersion, "product-version", kOpen, alone<printProductVersion>},
    TaskEntry{Task::globalCatalog, "global catalog", kOpen, onContext<printGlobalCatalog>},
    TaskEntry{Task::sysinfo, "sysinfo", kUser, agentInfo},
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
  explicit TroublesAtEnd(std::ostream& verbose) : verbose_(verbose) {}
  TroublesAtEnd(const TroublesAtEnd&) = delete;
  TroublesAtEnd& operator=(const TroublesAtEnd&) = delete;
  ~TroublesAtEnd() { tellTroubles(verbose_); }

 private:
  std::ostream& verbose_;
};

const TaskEntry* findTask(Task task) {
  const auto* row = std::ranges::find(kTasks, task, &TaskEntry::task);
  return row == kTasks.end() ? nullptr : row;
}

int dispatch(const Run& run, const Options& options) {
  const TroublesAtEnd atEnd(run.verbose);
  const TaskEntry* row = findTask(options.task);
  for (const Check check : row != nullptr ? row->gate : kUser) {
    if (check == nullptr) continue;
    if (const std::optional<int> status = check(run)) return *status;
  }
  if (row != nullptr) return row->handler(run, options);
  std::cerr << "Internal error: unknown option " << static_cast<int>(options.task) << '\n';
  return exit_status::kUnknownTask;
}

}  // namespace

const char* taskName(Task task) noexcept {
  const TaskEntry* row = findTask(task);
  return row == nullptr ? kUnnamed : row->name;
}

int runTask(const Run& run, const Options& options) {
  try {
    return dispatch(run, options);
  } catch (const tolk::Base_Exception& error) {
    std::cerr << "Internal error: " << errorText(error) << '\n';
    return exit_status::kInternalError;
  }
}

}  // namespace joinscope
