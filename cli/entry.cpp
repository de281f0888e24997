// The run from command line to exit status.
#include "cli/entry.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <iostream>

#include "cli/command_line.h"
#include "cli/common/error_text.h"
#include "cli/common/exit_status.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "cli/tasks.h"
#include "cli/usage.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/logger.h"
#include "tolk/base/no_cache_mode.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/shredder.h"
#include "tolk/base/standard_streams.h"

namespace joinscope {
namespace {

bool readerHasGone() {
  pollfd entry{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLERR) != 0;
}

// Damaged settings do not keep a task from running: it may be the one that shows the damage.
void checkKeySets(const TaskContext& context) {
  if (::geteuid() != 0 || !context.joined) return;
  try {
    tolk::CheckEssentialKSets();
  } catch (const tolk::TOLKException& error) {
    std::cerr << errorText(error) << "\nThis computer is not joined to a domain correctly!\n";
  }
}

// A report shows what the directory holds now. In memory only: nothing is written to the
// configuration file.
void disableCache() {
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
      .log(tolk::LogLevel::trace, "Disable cache, as joinscope does not need it.",
           tolk::LogSource{.file = "cli_info", .function = "main2"});
  tolk::Props(false, false).set(tolk::PN::TOLKD_CACHE_DISABLE, "true");
  tolk::NoCacheMode::reset();
}

// Only where the system keeps its log in the journal do these options say anything.
void takeLogWindow(TaskContext& context, const Options& options) {
  context.useJournal = options.journalSupported;
  if (!context.useJournal) return;
  context.logBegin = options.logBegin;
  context.logEnd = options.logEnd;
  context.lastHours = options.lastHours;
}

Options& processOptions() {
  static Options options{.journalSupported = OSSupportSystemdJournal()};
  return options;
}

UserCredentials& processCredentials() {
  static UserCredentials credentials;
  return credentials;
}

}  // namespace

void prepareProcess() {
  tolk::forbidCoreDumps();
  tolk::holdStandardStreams();
  // A handler, unlike SIG_IGN, is not inherited by the programs that reports start (signal(7)).
  struct sigaction action {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGPIPE, &action, nullptr);
}

int finishOutput(int status) {
  std::cout.flush();
  if (std::cout.good()) return status;
  if (!readerHasGone()) std::cerr << "Error: Cannot write to standard output\n";
  return status == exit_status::kSuccess ? exit_status::kMiscError : status;
}

int main2(int argc, char** argv) {
  std::ios_base::sync_with_stdio(false);
  Options& options = processOptions();
  const int status = ParseCommandLineOpts(argc, argv, processCredentials(), options);
  if (status != exit_status::kSuccess || options.task == Task::help) return status;

  TaskContext context(options.credentials, options.domain, &std::cerr);
  if (options.serverName != nullptr) context.serverName = options.serverName;
  takeLogWindow(context, options);
  checkKeySets(context);
  disableCache();
  return runTask(Run(context, options.serverName, options.verbose ? &std::cerr : nullptr), options);
}

}  // namespace joinscope
